#include "SystemControlCentOS.h"
