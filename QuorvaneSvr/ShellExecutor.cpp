#include "ShellExecutor.h"
