#include "Markup.h"
