#include "InfoCenter.h"
