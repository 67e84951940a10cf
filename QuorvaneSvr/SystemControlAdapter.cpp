#include "SystemControlAdapter.h"
