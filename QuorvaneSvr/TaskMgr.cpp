#include "TaskMgr.h"
