#include "PortalFixture.h"

#include <gtest/gtest.h>

#include <filesystem>

using portal_sim::Scenario;

PortalFixture::PortalFixture(Scenario scenario, const std::string& moreSettings) : sim(std::move(scenario)) {
    EXPECT_TRUE(sim.Start());
    folder.Write("conf/conf.xml", "<conf><version>1.0</version><redirect>" + sim.ProbeUrl() + "</redirect>" +
                                      moreSettings + "</conf>");
    std::filesystem::copy_file(SAMPLE_MODULE_1, folder.Path() + "/zxmAlogic.zxm");
    CInfoCenter::Release();
    CInfoCenter* settings = CInfoCenter::GetInst();
    settings->SetValue("hostName", "desk");
    settings->SetValue("clientId", "01234567-89ab-1cde-8f01-23456789abcd");
    settings->SetValue("version", "1.0");
    EXPECT_EQ(engine.Init(), 1);
    Record().ip4 = host.ip4;
}

PortalFixture::~PortalFixture() {
    CInfoCenter::Release();
}

void PortalFixture::GetReady() {
    ASSERT_EQ(engine.RequestConfig(0), 1);
    // In this state the steps of the ticket request are not reported, and a report is what it rests after.
    engine.NetStateChange(INetConn::ES_PRECONNECTING, INetConn::ES_PRECONNECTED, 0, "");
    ASSERT_EQ(engine.RequestTicket(), 1);
    host.reports.clear();
}

void PortalFixture::LogIn() {
    GetReady();
    const Scenario defaults;
    ASSERT_EQ(engine.Connect(LoginEnvelope(defaults.account, defaults.password)), 1);
    host.reports.clear();
}

CAutoString PortalFixture::LoginEnvelope(const std::string& account, const std::string& password) {
    return "<M><OpS>client</OpS><OpT>Portal</OpT><OpC>PortalConnect</OpC><P><user>" + account +
           "</user><password>" + password + "</password></P></M>";
}
