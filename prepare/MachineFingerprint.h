#pragma once

#include <string>

// What tells this machine from its clones, as 64 hexadecimal digits: a keyed digest of /etc/machine-id. That
// id is confidential, and the digest does not tell it. Empty when the machine has no id, or none yet.
std::string MachineFingerprint();
