#include "HttpData.h"
