#include "PortalConn.h"
