#include "BufferArray.h"
