// The portal: the address that is asked, where its answers lead, and what the page at the end wants.
#include <algorithm>
#include <memory>

#include "Deployment.h"
#include "Examination.h"
#include "HttpHelper.h"
#include "PortalParser.h"
#include "ProbeWords.h"
#include "StatisticsSettings.h"
#include "Texts.h"

namespace {

constexpr char kAnyMarker[] = "<!--//";
constexpr char kPasswordLogin[] = "jvn-http-pap";
constexpr size_t kShownAddress = 200;
constexpr size_t kLongestMarker = 80;

const CAutoString& ValueOr(const CAutoString& value, const CAutoString& fallback) {
    return value.IsEmpty() ? fallback : value;
}

bool BeginsWith(const CAutoString& text, const char* start) {
    return text.Find(start) == 0;
}

CAutoString HostOf(const CAutoString& url) {
    CAutoString host;
    CAutoString port;
    (void)CHttpHelper::ParseIP(url, host, port);  // without a host there is none to compare
    return BeginsWith(host, "www.") ? host.Mid(4) : host;
}

// Nothing was heard of anybody, not even a name server.
bool IsSilent(const Chain& chain) {
    const bool isSilence = chain.fault == Finding::kNotResolved || chain.fault == Finding::kNotReached ||
                           chain.fault == Finding::kNoAnswer;
    return isSilence &&
           std::all_of(chain.hops.begin(), chain.hops.end(), [](const Hop& hop) { return hop.status == 0; });
}

// The name in a comment that looks like a marker; what follows it begins with a "<".
std::string MarkerIn(const CAutoString& page) {
    const int found = page.Find(kAnyMarker);
    const CAutoString rest = page.Mid(found + CAutoString(kAnyMarker).GetLength());
    const int end = rest.Find('<');
    return Shortened(end < 0 ? rest.GetText() : rest.Left(end).GetText(), kLongestMarker);
}

// A page without a marker. A standing login, or a network that needs none, brings an ordinary one.
Verdict JudgeOrdinaryPage(const Examination& examination) {
    const Chain& chain = examination.chain;
    const std::string last = Shortened(chain.hops.back().url, kShownAddress);
    if (examination.IsOnline()) {
        return Good("no portal's page, as behind a login that stands");
    }
    if (chain.isCampus) {
        return Found(Finding::kNoMarker, last);
    }
    const CAutoString first = chain.hops.front().url;
    if (!examination.IsOpenNetwork() && HostOf(first) != HostOf(chain.hops.back().url)) {
        return Found(Finding::kForeignPage, last);
    }
    return Good("no portal's page: the network is open, or a login stands");
}

std::string Wishes(const CAuthConfig& record) {
    std::string text = "ticket from " + Shortened(record.strTickUrl.GetText(), kShownAddress);
    text += ", login at " + Shortened(record.strAuthUrl.GetText(), kShownAddress);
    text += ", state every " + std::to_string(record.stateInterval) + " s";
    CStatisticsSettings statistics;
    statistics.Take(record.funCfg);
    text += statistics.Get().url.IsEmpty() ? ", no statistics and so no log-out on request" : ", statistics";
    const int sharing = CPortalParser().GetCheckWifiShareTime(record.againstList);
    text += sharing > 0 ? ", a sharing check every " + std::to_string(sharing) + " s" : "";
    text += record.m_strAcountType.IsEmpty() ? "" : ", account names by " + record.m_strAcountType.GetText();
    return text + (record.m_strServers.IsEmpty()
                       ? ""
                       : ", servers " + Shortened(record.m_strServers.GetText(), kShownAddress));
}

}  // namespace

Verdict LookAtProbe(Examination& examination) {
    const CAutoString& own = examination.isIPv6 ? examination.probeIPv6 : examination.probeIPv4;
    const CAutoString builtIn = examination.isIPv6 ? QUORVANE_PROBE_URL_IPV6 : QUORVANE_PROBE_URL;
    examination.probe = ValueOr(own, builtIn);
    const CAutoString lower = CAutoString(examination.probe).Trim().MakeLower();
    const std::string shown = Shortened(examination.probe.GetText(), kShownAddress);
    const bool isHttp = BeginsWith(lower, "http://") || BeginsWith(lower, "https://");
    if (!isHttp || !IsAddress(lower)) {
        return Found(Finding::kNoProbeAddress, shown);
    }
    if (BeginsWith(lower, "https://")) {
        return Found(Finding::kProbeOverTls, shown);
    }
    return Good(shown + (own.IsEmpty() ? ", built in" : ", of the settings"));
}

Verdict LookAtHops(Examination& examination) {
    ChainStart start;
    start.probe = examination.probe;
    start.client = examination.address;
    start.isIPv6 = examination.isIPv6;
    start.servers = examination.isIPv6 ? examination.serversIPv6 : examination.servers;
    start.userAgent.Format(examination.isIPv6 ? kUserAgentIPv6 : kUserAgentIPv4,
                           examination.version.GetBuffer());
    examination.chain = WalkChain(start);
    const Chain& chain = examination.chain;
    if (chain.fault == Finding::kNone) {
        return Good(DescribeHops(chain));
    }
    if (examination.IsOnline() && IsSilent(chain)) {
        return Good("no answer, as behind some logins that stand; " + DescribeHops(chain));
    }
    const Verdict fault = Found(chain.fault, chain.reason + "; " + DescribeHops(chain));
    return examination.IsOnline() ? AsWarning(fault) : fault;
}

Verdict LookAtMarker(Examination& examination) {
    const CAutoString& page = examination.chain.page;
    CAutoString& configuration = examination.configuration;
    const CAutoString host = ValueOr(examination.markerHost, QUORVANE_MARKER_HOST);
    CPortalParser parser;
    parser.SetMarkerHost(host);
    if (parser.GetConfigWithString(page, configuration) > 0) {
        return Good(host.GetText() + ", " + std::to_string(configuration.GetLength()) +
                    " bytes of configuration");
    }
    if (page.Find(kAnyMarker + host) >= 0) {
        return Found(Finding::kMarkerNotClosed, Shortened(examination.chain.hops.back().url, kShownAddress));
    }
    if (page.Find(kAnyMarker) >= 0 && !examination.IsOnline()) {
        return Found(Finding::kOtherMarker, MarkerIn(page) + " instead of " + host.GetText());
    }
    return JudgeOrdinaryPage(examination);
}

Verdict LookAtConfiguration(Examination& examination) {
    if (examination.configuration.IsEmpty()) {
        return Good("none, for there is no portal's page");
    }
    const std::unique_ptr<CAuthConfig> record = std::make_unique<CAuthConfig>();
    CAuthConfig* filled = record.get();
    if (CPortalParser().ParserConfig(examination.configuration, filled) != 0) {
        return Found(Finding::kConfigUnreadable,
                     Shortened(examination.configuration.GetText(), kShownAddress));
    }
    const std::string wishes = Wishes(*record);
    if (record->strTickUrl.IsEmpty()) {
        return Found(Finding::kNoTicketAddress, wishes);
    }
    if (record->strAuthUrl.IsEmpty()) {
        return Found(Finding::kNoLoginAddress, wishes);
    }
    const bool hasPassword = record->nAuthType == 0 || examination.configuration.Find(kPasswordLogin) >= 0;
    return hasPassword ? Good(wishes) : Found(Finding::kNoPasswordLogin, wishes);
}
