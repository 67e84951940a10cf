#include "Business.h"
