#include "PipeService.h"
