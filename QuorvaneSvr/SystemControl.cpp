#include "SystemControl.h"
