#pragma once

class CInfoCenter;
class IBusiness;

// The message server as the businesses see it.
class IServer {
  public:
    // Makes `business` (not owned) reachable under `name`; a second one under the same name replaces it.
    virtual void RegisterBusiness(const char* name, IBusiness* business) = 0;
    // Sends one envelope to the front ends. May be called from any thread.
    virtual void PostMessage(const char* text) = 0;
    // The settings, which the server does not own; never null.
    virtual CInfoCenter* GetInfoCenter() = 0;

  protected:
    ~IServer() = default;
};
