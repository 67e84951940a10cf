#include "TableTimer.h"
