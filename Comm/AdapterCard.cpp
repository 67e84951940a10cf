#include "AdapterCard.h"
