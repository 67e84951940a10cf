#include "Server.h"
