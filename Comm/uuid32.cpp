#include "uuid32.h"
