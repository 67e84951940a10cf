#include "RequestCheck.h"

#include <openssl/evp.h>

#include <algorithm>
#include <pugixml.hpp>

#include "Pattern.h"
#include "SampleTransform.h"

namespace portal_sim {
namespace {

constexpr char kDeclaration[] = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";
constexpr char kNoModule[] = "00000000-0000-0000-0000-000000000000";
constexpr char kProbeAccept[] = "text/html,text/xml,application/xhtml+xml,application/x-javascript,*/*";
constexpr char kAgentShape[] = "RAVO/(Linux64|LinuxIpv664)/.+";
constexpr char kTimeShape[] = "[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}";

// The elements of each document, in the order in which they have to stand in it. A trailing '?' marks one
// that may be absent.
struct DocumentShape {
    Endpoint endpoint;
    std::vector<const char*> elements;
};
const DocumentShape kShapes[] = {
    {Endpoint::Ticket,
     {"ostag", "local-time", "mac", "ipv6", "ipv4", "client-id", "user-agent", "host-name"}},
    {Endpoint::Login, {"local-time", "ticket", "passwd", "userid", "client-id", "user-agent"}},
    {Endpoint::State, {"local-time", "ticket", "client-id", "user-agent"}},
    {Endpoint::Pulse, {"shared?", "local-time", "mac", "ipv6", "ipv4", "ticket", "client-id", "user-agent"}},
    {Endpoint::Term, {"reason", "local-time", "ticket", "client-id", "user-agent"}},
    {Endpoint::Query, {"local-time", "client-id", "user-agent"}},
};

// The form of the values that have a fixed one.
struct ValueShape {
    const char* element;
    const char* pattern;
};
constexpr ValueShape kValueShapes[] = {
    {"local-time", kTimeShape},
    {"mac", "([0-9a-f]{2}-){5}[0-9a-f]{2}"},
    {"ipv4", R"(([0-9]{1,3}(\.[0-9]{1,3}){3})?)"},
    {"ipv6", "[0-9a-f:.]*"},
    {"ostag", "linux64"},
    {"reason", "[0-9]*"},
    {"shared", "[1-9][0-9]*"},
    {"host-name", ".+"},
    {"userid", ".+"},
};

std::string CheckSender(const Request& request) {
    if (!Matches(request.Header("user-agent"), kAgentShape)) {
        return "the User-Agent \"" + request.Header("user-agent") + "\" has the wrong form";
    }
    if (request.Header("connection") != "close") {
        return "the connection is not asked to close";
    }
    return "";
}

std::string CheckHeaders(const Expectations& expectations, const Request& request) {
    const struct {
        const char* header;
        const std::string& expected;
    } kLocation[] = {
        {"jvn-schoolid", expectations.schoolId},
        {"jvn-domain", expectations.domain},
        {"jvn-area", expectations.area},
    };
    for (const auto& row : kLocation) {
        if (request.Header(row.header) != row.expected) {
            return std::string(row.header) + " is \"" + request.Header(row.header) + "\" instead of \"" +
                   row.expected + "\"";
        }
    }
    if (!Matches(request.Header("client-id"), "[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}")) {
        return "the Client-ID \"" + request.Header("client-id") + "\" has the wrong form";
    }
    if (request.Header("jvn-checksum") != Md5Of(request.body)) {
        return "the checksum does not fit the body";
    }
    return "";
}

std::string DecodeBody(Request& request) {
    const sample::Version* module = sample::FindVersion(request.Header("algo-id").c_str());
    if (module == nullptr) {
        return "the Algo-ID \"" + request.Header("algo-id") + "\" is not known";
    }
    request.document = module->decode(request.body);
    if (request.document.compare(0, sizeof kDeclaration - 1, kDeclaration) != 0) {
        return "the body does not decode to an XML document";
    }
    return "";
}

std::string ReadElements(Request& request) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_string(request.document.c_str(), pugi::parse_default);
    if (!parsed) {
        return std::string("the document does not parse: ") + parsed.description();
    }
    const pugi::xml_node root = document.document_element();
    if (std::string(root.name()) != "request") {
        return "the root of the document is not \"request\"";
    }
    for (const pugi::xml_node& child : root) {
        request.elements.emplace_back(child.name(), child.text().get());
    }
    return "";
}

std::string CheckOrder(const Request& request) {
    const auto shape = std::find_if(std::begin(kShapes), std::end(kShapes), [&](const DocumentShape& row) {
        return row.endpoint == request.endpoint;
    });
    size_t at = 0;
    for (std::string name : shape->elements) {
        const bool optional = name.back() == '?';
        if (optional) {
            name.pop_back();
        }
        const bool stands = at < request.elements.size() && request.elements[at].first == name;
        if (!stands && !optional) {
            return "the element \"" + name + "\" does not stand at position " + std::to_string(at + 1);
        }
        at += stands ? 1 : 0;
    }
    return at == request.elements.size() ? "" : "the document has an element too many";
}

std::string CheckValues(const Expectations& expectations, const Request& request) {
    for (const ValueShape& row : kValueShapes) {
        if (request.Has(row.element) && !Matches(request.Element(row.element), row.pattern)) {
            return "the element \"" + std::string(row.element) + "\" has the wrong form";
        }
    }
    for (const char* name : {"user-agent", "client-id"}) {
        if (request.Element(name) != request.Header(name)) {
            return "the element \"" + std::string(name) + "\" differs from the header";
        }
    }
    if (request.Has("ticket") && expectations.tickets.count(request.Element("ticket")) == 0) {
        return "the ticket \"" + request.Element("ticket") + "\" was never given out";
    }
    return "";
}

std::string CheckDocument(const Expectations& expectations, Request& request) {
    std::string complaint = DecodeBody(request);
    if (complaint.empty()) {
        complaint = ReadElements(request);
    }
    if (complaint.empty()) {
        complaint = CheckOrder(request);
    }
    return complaint.empty() ? CheckValues(expectations, request) : complaint;
}

}  // namespace

std::string Request::Element(const std::string& name) const {
    for (const auto& [element, text] : elements) {
        if (element == name) {
            return text;
        }
    }
    return "";
}

bool Request::Has(const std::string& name) const {
    return std::any_of(elements.begin(), elements.end(), [&](const auto& row) { return row.first == name; });
}

std::string Request::Header(const std::string& name) const {
    const auto found = headers.find(name);
    return found == headers.end() ? "" : found->second;
}

bool LacksModule(const Request& request) {
    return request.Header("algo-id") == kNoModule;
}

std::string Md5Of(const std::string& text) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, EVP_md5(), nullptr);
    std::string hex;
    for (unsigned i = 0; i < size; ++i) {
        constexpr char kDigits[] = "0123456789abcdef";
        hex += kDigits[digest[i] >> 4];
        hex += kDigits[digest[i] & 15];
    }
    return hex;
}

void CheckPortalRequest(const Expectations& expectations, Request& request) {
    // The document is read even after a wrong header, so that the record shows what was sent.
    const std::string sender = CheckSender(request);
    const std::string headers = CheckHeaders(expectations, request);
    const std::string document = LacksModule(request) ? "" : CheckDocument(expectations, request);
    request.complaint = !sender.empty() ? sender : !headers.empty() ? headers : document;
}

void CheckProbe(Request& request) {
    request.complaint = CheckSender(request);
    if (request.complaint.empty() && request.Header("accept") != kProbeAccept) {
        request.complaint = "the Accept header is \"" + request.Header("accept") + "\"";
    }
}

}  // namespace portal_sim
