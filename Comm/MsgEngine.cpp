#include "MsgEngine.h"
