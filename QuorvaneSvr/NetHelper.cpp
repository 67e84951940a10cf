#include "NetHelper.h"
