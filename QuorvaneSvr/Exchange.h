#pragma once

#include "AutoString.h"
#include "HttpData.h"

// One request to the portal and what became of it: the request engine's result, its code and sub-code, and
// the answer.
struct Exchange {
    int result = 0;
    unsigned long code = 0;
    CAutoString subCode;
    CHttpData answer{true};
};
