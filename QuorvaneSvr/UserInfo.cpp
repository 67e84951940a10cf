#include "UserInfo.h"
