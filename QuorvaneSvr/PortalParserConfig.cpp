#include "PortalParser.h"
