#pragma once

#include <sys/stat.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "EventLoop.h"
#include "FileUtil.h"

// What comes over the link to the service, on the loop's thread. The link may be destroyed in each of them.
class ILinkListener {
  public:
    // The service has opened both FIFOs: it can be spoken to.
    virtual void LinkAttached() = 0;
    // The service is gone; what it had sent before has been handed on.
    virtual void LinkLost() = 0;
    // One whole message without its NUL, at most 64 KiB; in order. It is whatever the service wrote, also the
    // rest of one that was cut short because nobody had read for long.
    virtual void LinkMessage(const std::string& message) = 0;

  protected:
    ~ILinkListener() = default;
};

// The front end's ends of the two FIFOs in the service's working folder, never waited on: makes `clientpipe`
// when it is missing, attaches to a service whenever one opens it, and again after its restart, within 2 s
// each. It costs next to nothing while nobody is there. Leaves `clientpipe` in place at the end, for a
// service opens it once in its life only. What is no FIFO, and a link, is refused, told once on standard
// error and looked at again. Belongs to the loop's thread.
class ServiceLink {
  public:
    // `loop` and `listener` outlive the link. Nothing happens before Start. Sees to it that a write without a
    // reader does not end the process.
    ServiceLink(EventLoop& loop, const std::string& folder, ILinkListener& listener);
    ~ServiceLink();
    ServiceLink(const ServiceLink&) = delete;
    ServiceLink& operator=(const ServiceLink&) = delete;

    // The listener is called from the loop, not from here.
    void Start();
    bool IsAttached() const { return m_writer.has_value(); }
    // The service's process, as its settings name it and as long as one of that number and name runs; 0 when
    // not attached, or when the settings may not be read.
    int ServicePid() const;
    // Writes a message, its NUL is added. False, with nothing written, when not attached, longer than 4,095
    // bytes or the FIFO is full because the service does not read.
    bool Send(const std::string& message);

  private:
    // One of the two FIFOs in the folder.
    struct Name {
        std::string path;
        bool isRefused = false;  // which has been told
    };
    enum class Reading { kSome, kNothing, kEnd };

    static bool Refuse(Name& name, const char* reason);
    static bool Find(Name& name, struct stat& found);
    static bool Open(Name& name, int direction, std::optional<Descriptor>& opened);

    void LookLater(EventLoop::Duration delay);
    void Look();
    bool HasOpened(const struct stat& found) const;
    void OpenReader();
    void WatchWriters();
    void Attach();
    Reading ReadSome();
    void HandOn(std::string_view bytes);
    void Lose();
    void Close();

    EventLoop& m_loop;
    ILinkListener& m_listener;
    const std::string m_folder;
    Name m_fromService;
    Name m_toService;
    std::optional<Descriptor> m_reader;   // also while nobody writes
    std::optional<Descriptor> m_writer;   // only while attached
    std::optional<Descriptor> m_notices;  // of the kernel, that a writer has closed what m_reader reads
    std::string m_pending;                // the beginning of a message
    bool m_isTooLong = false;             // what comes is dropped up to its NUL

    EventSource m_lookTimer;  // active while not attached
    EventSource m_readable;
    EventSource m_unread;
    EventSource m_noticed;
    std::shared_ptr<bool> m_life = std::make_shared<bool>();  // expires with the link
};
