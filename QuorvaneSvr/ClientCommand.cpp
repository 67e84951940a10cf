#include "ClientCommand.h"
