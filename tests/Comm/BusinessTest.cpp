#include "Business.h"

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

class Server : public IServer {
  public:
    void RegisterBusiness(const char* /*name*/, IBusiness* /*business*/) override {}
    void PostMessage(const char* text) override { m_posted += text; }
    CInfoCenter* GetInfoCenter() override { return nullptr; }

    std::string m_posted;
};

// Tells which of its handlers ran, and with what.
class Business : public CBusiness {
  public:
    void InitOpcodeFun() override { m_OpcodeMap["Open"] = static_cast<OpcodeFun>(&Business::Open); }
    void DefaultDeal(CXMLOpt& document) override {
        m_handled = "default " + document.GetValue(kOpcodePath).GetText();
    }
    void Open(const char* source, CXMLOpt& document) {
        m_handled = std::string("open ") + source + " " + document.GetValue("P.door").GetText();
    }

    std::string m_handled;
};

}  // namespace

TEST(Business, HandsEnvelopesToTheHandlerOfTheirOperation) {
    const std::array<const char*, 3> rows[] = {
        {"known", "<M><OpS>me</OpS><OpC>Open</OpC><P><door>a&lt;b</door></P></M>", "open me a<b"},
        {"unknown", "<M><OpC>open</OpC></M>", "default open"},
        {"no operation", "<M/>", "default "},
        {"not well formed", "<M><OpC>Open</OpC>", ""},
        {"two roots", "<M><OpC>Open</OpC></M><M/>", ""},
        {"null", nullptr, ""},
    };
    Server server;
    for (const auto& [what, envelope, expected] : rows) {
        SCOPED_TRACE(what);
        Business business;
        business.InitService(&server);
        business.DealMsg(envelope);
        EXPECT_EQ(expected, business.m_handled);
    }
}

TEST(Business, SendsCompleteEnvelopesOnly) {
    const std::array<const char*, 6> rows[] = {
        {"all parts", "s", "t", "o", "<p/>", "<M><OpS>s</OpS><OpT>t</OpT><OpC>o</OpC><P><p/></P></M>"},
        {"formats are texts", "%s", "%n", "o", "", "<M><OpS>%s</OpS><OpT>%n</OpT><OpC>o</OpC><P></P></M>"},
        {"no source", nullptr, "t", "o", "p", ""},
        {"no target", "s", nullptr, "o", "p", ""},
        {"no operation", "s", "t", nullptr, "p", ""},
        {"null parameters", "s", "t", "o", nullptr, ""},
    };
    for (const auto& [what, source, target, operation, parameters, expected] : rows) {
        SCOPED_TRACE(what);
        Server server;
        Business business;
        business.PostMsg(source, target, operation, parameters);  // there is no server yet
        business.InitService(&server);
        business.PostMsg(source, target, operation, parameters);
        EXPECT_EQ(expected, server.m_posted);
    }
}
