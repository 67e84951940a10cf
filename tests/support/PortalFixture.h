#pragma once

#include <string>
#include <vector>

#include "InfoCenter.h"
#include "NetHelper.h"
#include "PortalConn.h"
#include "PortalStory.h"
#include "TemporaryFolder.h"

// The owner of a protocol engine under test: keeps what the engine reports and gives it fixed addresses.
class FakePortalHost : public IPortalHost {
  public:
    CInfoCenter* GetInfoCenter() override { return CInfoCenter::GetInst(); }
    int GetIpAndMac(CAutoString& address4, CAutoString& address6, CAutoString& mac, int& family) override {
        address4 = ip4;
        address6 = "";
        mac = "02-51-56-4e-00-02";
        family = kIPv4Family;
        return addressResult;
    }
    BOOL IsPortalEnv() override { return portalEnv; }
    void ChangeToUnknowEnv() override {}
    void DisConnect(CAutoString /*reason*/) override {}
    int SetDNS(CAutoString& dns1, CAutoString& dns2) override {
        return dnsResult != 0 ? dnsResult : CNetHelper().SetDNSServers(dns1, dns2);
    }
    void PostMsg(const char* target, const char* opcode, const char* param) override {
        messages.push_back(std::string(target) + " " + opcode + " " + param);
    }
    void PostNetStateMessage(INetConn::ETYPE type, INetConn::ESTATE oldState, INetConn::ESTATE newState,
                             int errorCode, CAutoString subErrCode) override {
        reports.push_back({oldState, newState, errorCode, subErrCode.GetText(), "", "", type});
    }
    void PostNetStateMessageEx(INetConn::ETYPE type, INetConn::ESTATE oldState, INetConn::ESTATE newState,
                               int errorCode, const char* subType, const char* extra) override {
        reports.push_back({oldState, newState, errorCode, "", subType, extra, type});
    }

    // What the host returns.
    int addressResult = 1;
    std::string ip4 = "192.0.2.10";
    BOOL portalEnv = 1;
    int dnsResult = 0;  // with 0 the resolver file is really written

    // What the engine told it.
    std::vector<StateReport> reports;
    std::vector<std::string> messages;  // "target operation parameters"
};

// A protocol engine with a fake host against the portal simulator, in a folder of its own with settings and
// the first sample module.
class PortalFixture {
  public:
    explicit PortalFixture(portal_sim::Scenario scenario = {}, const std::string& moreSettings = "");
    ~PortalFixture();

    CAuthConfig& Record() { return *engine.GetPortalConf(); }
    // Discovers the portal and gets a ticket; the reports of these steps are forgotten.
    void GetReady();
    // GetReady and a login with the scenario's account.
    void LogIn();
    // The envelope of a front end's login.
    static CAutoString LoginEnvelope(const std::string& account, const std::string& password);

    TemporaryFolder folder;
    portal_sim::PortalSim sim;
    FakePortalHost host;
    CPortalConn engine{host};
};
