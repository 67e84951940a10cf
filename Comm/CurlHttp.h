#pragma once

#include "HttpData.h"

class CCurlHttp {
  public:
    int Perform(CHttpData* data);
};
