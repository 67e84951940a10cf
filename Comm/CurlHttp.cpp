#include "CurlHttp.h"
