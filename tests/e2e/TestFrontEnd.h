#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <vector>

// One envelope from the service.
struct Message {
    std::string source;
    std::string target;
    std::string operation;
    std::string parameters;  // the markup inside "P"

    // The text of a child of "P"; empty when there is none.
    std::string Parameter(const std::string& name) const;
};

// A state report, as far as it tells the user something.
struct Report {
    int oldState = 0;
    int newState = 0;
    int code = 0;
    std::string subCode = {};
    std::string subType = {};
    std::string extra = {};
    int type = 51;  // INetConn::ET_PORTAL

    bool operator==(const Report& other) const;
};
std::ostream& operator<<(std::ostream& out, const Report& report);

// A front end on the two FIFOs in the working directory. A thread of its own collects what the service sends.
class TestFrontEnd {
  public:
    // Makes "clientpipe" unless it is there, and opens both FIFOs as soon as the service has its ends open.
    // Throws when the service does not come.
    TestFrontEnd();
    ~TestFrontEnd();
    TestFrontEnd(const TestFrontEnd&) = delete;
    TestFrontEnd& operator=(const TestFrontEnd&) = delete;

    void Send(const std::string& operation, const std::string& parameters = "");
    // Writes bytes as they are, without the NUL that ends a message.
    void SendRaw(const std::string& bytes);

    // All messages so far.
    std::vector<Message> Messages() const;
    // Waits for the next message, in order of arrival, that fits, and answers with it; the messages before it
    // are passed over.
    std::optional<Message> WaitFor(const std::function<bool(const Message&)>& fits,
                                   std::chrono::milliseconds deadline);

  private:
    void Collect();

    int m_fromService = -1;
    int m_toService = -1;
    int m_stop[2] = {-1, -1};  // a pipe whose closing ends the thread
    std::thread m_thread;

    mutable std::mutex m_lock;
    std::condition_variable m_arrived;
    std::vector<Message> m_messages;
    size_t m_next = 0;  // the first message that WaitFor has not passed yet
};

// The report in the message; nothing when it is another message.
std::optional<Report> ReportIn(const Message& message);
