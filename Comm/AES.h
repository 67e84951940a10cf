#pragma once

#include <string>

class CAES;
