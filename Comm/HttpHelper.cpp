#include "HttpHelper.h"
