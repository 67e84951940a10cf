#pragma once

#include <string>

#include "EventLoop.h"

// What comes over the link to the service, on the loop's thread.
class ILinkListener {
  public:
    // The service has opened both FIFOs: it can be spoken to.
    virtual void LinkAttached() = 0;
    // The service is gone; what it had sent before has been handed on.
    virtual void LinkLost() = 0;
    // One whole message without its NUL, at most 64 KiB; in order.
    virtual void LinkMessage(const std::string& message) = 0;

  protected:
    ~ILinkListener() = default;
};

// The front end's ends of the two FIFOs in the service's working folder, never waited on: makes `clientpipe`
// when it is missing, attaches to a service whenever one opens it, and again after its restart, within 2 s
// each. It costs next to nothing while nobody is there. Leaves `clientpipe` in place at the end, for a
// service opens it once in its life only.
class ServiceLink {
  public:
    // `loop` and `listener` outlive the link. Nothing happens before Start.
    ServiceLink(EventLoop& loop, const std::string& folder, ILinkListener& listener);
    ~ServiceLink();
    ServiceLink(const ServiceLink&) = delete;
    ServiceLink& operator=(const ServiceLink&) = delete;

    void Start();
    bool IsAttached() const;
    // The service's process, as far as the kernel tells; 0 when not attached or unknown.
    int ServicePid() const;
    // Writes a message, its NUL is added. False, with nothing written, when not attached, longer than 4,095
    // bytes or the FIFO is full because the service does not read.
    bool Send(const std::string& message);
};
