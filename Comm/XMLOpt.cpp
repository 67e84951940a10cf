#include "XMLOpt.h"
