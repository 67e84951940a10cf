#include "SimpleThread.h"
