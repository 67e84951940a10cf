#pragma once

class CWiFiSharedValidate {
  public:
    virtual ~CWiFiSharedValidate() = default;
    int IsValidEnvironment(const char* xml);
    const char* GetDisplayName();
};
