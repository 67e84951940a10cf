#include "WiFiSharedValidate.h"
