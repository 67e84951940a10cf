#include "WeightCalculator.h"
