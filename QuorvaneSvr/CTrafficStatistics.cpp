#include "CTrafficStatistics.h"
