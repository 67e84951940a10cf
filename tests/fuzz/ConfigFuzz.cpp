// Takes the input for the portal's page, and for the configuration in it.
#include "Deployment.h"
#include "Fuzz.h"
#include "PortalFixture.h"
#include "PublishedValues.h"
#include "WiFiSharedValidate.h"

constexpr char kBegin[] = "<!--//" QUORVANE_MARKER_HOST;
constexpr char kEnd[] = "//" QUORVANE_MARKER_HOST "-->";

// What front ends are told of it has to be well formed.
static void Read(const CAutoString& document) {
    CAuthConfig record;
    CAuthConfig* read = &record;
    if (CPortalParser().ParserConfig(document, read) != 0) {
        return;
    }
    Require(read == &record && record.stateInterval > 0);
    (void)CPortalParser().GetCheckWifiShareTime(record.againstList);
    (void)CWiFiSharedValidate().Initialization(record.againstList);
    FakePortalHost host;
    PublishConfig(host, record);
    for (const std::string& message : host.messages) {
        Require(CXMLOpt(("<P>" + message + "</P>").c_str()).IsWellFormed());
    }
}

void Try(std::string_view input) {
    const CAutoString text = Take(input, '\0');
    CAutoString config;
    (void)CPortalParser().GetConfigWithString(text, config);
    Read(config);
    Read(text);
    if ((text + kEnd).Find(kEnd) == text.GetLength()) {
        const int length = CPortalParser().GetConfigWithString(kBegin + text + kEnd + text, config);
        Require(length == text.GetLength() && (config == text || length == 0));
    }
}
