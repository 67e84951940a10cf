#pragma once

// Makes SIGTERM, SIGINT and SIGHUP give the resolver file back before they end the process as ever. Signals
// that whoever started the service has it ignore stay ignored. Called once, at the start. A second
// signal changes nothing: a closing terminal sends two, and the file has to come back.
void GiveBackAtEndSignals();
