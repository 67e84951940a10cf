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
    const std::array<const char*, 4> rows[] = {
        {"%s", "%n", "o", "<p/>"}, {nullptr, "t", "o", "p"}, {"s", nullptr, "o", "p"},
        {"s", "t", nullptr, "p"},  {"s", "t", "o", nullptr},
    };
    Server server;
    Business business;
    business.PostMsg("no", "server", "yet", "");
    business.InitService(&server);
    for (const auto& [source, target, operation, parameters] : rows) {
        business.PostMsg(source, target, operation, parameters);
    }
    EXPECT_EQ("<M><OpS>%s</OpS><OpT>%n</OpT><OpC>o</OpC><P><p/></P></M>", server.m_posted);
}
