#pragma once

#include <string>
#include <string_view>

#include "INetConn.h"

// What a front end receives from the service and sends to it. Plain texts without the NUL that ends a
// message.

// One envelope of the service, taken apart. What is no XML document leaves everything but `text` empty.
struct Report {
    explicit Report(const std::string& envelope);

    bool IsState() const;
    // Whether it says that this network needs no login.
    bool IsOpenNetwork() const;
    // The text of the element `name` below the parameters; empty when there is none.
    std::string Parameter(const char* name) const;

    std::string text;  // the whole envelope
    std::string source;
    std::string target;
    std::string opcode;
    // Of a state report. Numbers, for the states may be none of INetConn's.
    int oldState = INetConn::ES_NONE;
    int newState = INetConn::ES_NONE;
    int errorCode = 0;
};

// An operation for the service. `parameters` is a piece of XML, as the functions below make it of texts with
// any characters.
std::string OperationEnvelope(std::string_view opcode, std::string_view parameters);
// The result holds the password; it is the only place that this function leaves it in.
std::string LoginParameters(std::string_view account, std::string_view password);
// The reason of a log-out, as a number.
std::string ReasonParameter(std::string_view reason);
// The ticket of another terminal.
std::string TicketParameter(std::string_view ticket);
