#include "ZsmHelper.h"
