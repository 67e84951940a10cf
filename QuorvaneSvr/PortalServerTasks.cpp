#include "PortalServer.h"
