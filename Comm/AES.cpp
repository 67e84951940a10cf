#include "AES.h"
