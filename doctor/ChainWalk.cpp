#include "ChainWalk.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <memory>

#include "BufferArray.h"
#include "CurlHandle.h"
#include "CurlHttp.h"
#include "HttpData.h"
#include "HttpStatus.h"
#include "PortalCodes.h"
#include "ProbeWords.h"
#include "ServerCluster.h"
#include "Texts.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kConnectTime(2000);  // a campus network answers within a few
constexpr milliseconds kChainTime(5000);    // half of what the whole diagnosis may take
constexpr size_t kMostHops = 30;            // real chains have fewer than ten
constexpr size_t kShownAddress = 160;
constexpr size_t kShownHops = 10;
constexpr int kFirstRedirectStatus = 300;

struct FailureKind {
    CURLcode code;
    Finding finding;
};
constexpr FailureKind kFailureKinds[] = {
    {CURLE_COULDNT_RESOLVE_HOST, Finding::kNotResolved}, {CURLE_COULDNT_CONNECT, Finding::kNotReached},
    {CURLE_OPERATION_TIMEDOUT, Finding::kNoAnswer},      {CURLE_WRITE_ERROR, Finding::kAnswerTooLarge},
    {CURLE_FILESIZE_EXCEEDED, Finding::kAnswerTooLarge}, {CURLE_URL_MALFORMAT, Finding::kOddRedirect},
};

Finding KindOf(CURLcode code, const char* reason) {
    if (code == CURLE_OPERATION_TIMEDOUT && strstr(reason, "esolving") != nullptr) {
        return Finding::kNotResolved;
    }
    for (const FailureKind& kind : kFailureKinds) {
        if (kind.code == code) {
            return kind.finding;
        }
    }
    return Finding::kBrokenAnswer;
}

bool NamesSchool(const CHttpData& answer) {
    CAutoString school[kSchoolHeaderCount];
    return ReadSchool(answer, school);
}

class Walk {
  public:
    explicit Walk(const ChainStart& start) : m_start(start), m_end(Clock::now() + kChainTime) {
        m_cluster.SetKnown(start.isIPv6 ? "" : start.servers, start.isIPv6 ? start.servers : "");
        m_cluster.Reload();
    }

    Chain Run() {
        CAutoString url = m_start.probe;
        while (!url.IsEmpty() && m_chain.fault == Finding::kNone) {
            url = Follow(url);
        }
        return std::move(m_chain);
    }

  private:
    // One hop. Returns where it leads; nowhere at the last page and after a fault.
    CAutoString Follow(CAutoString url) {
        if (m_chain.hops.size() >= kMostHops) {
            Fail(Finding::kEndlessRedirect, std::to_string(kMostHops) + " redirects and no page");
            return {};
        }
        CHttpData answer(true);
        m_chain.hops.push_back({url.GetText(), 0});
        if (!Get(url, answer)) {
            return AfterFailure(url);
        }
        m_chain.isCampus = m_chain.isCampus || IsPortalPage(url) || NamesSchool(answer);
        CAutoString next = answer.GetRedirectAddress();
        if (IsPortalPage(next)) {
            (void)MoveToNext(next);  // without another server the page is asked where it is
        }
        if (next.IsEmpty()) {
            TakePage(answer);
        }
        return next;
    }

    // Only the portal's page has other servers to try.
    CAutoString AfterFailure(CAutoString url) {
        if (!IsPortalPage(url) || !MoveToNext(url)) {
            return {};
        }
        m_chain.fault = Finding::kNone;
        return url;
    }

    bool MoveToNext(CAutoString& url) { return m_cluster.MoveToNext(url, m_start.isIPv6, m_start.client); }

    void TakePage(const CHttpData& answer) {
        if (answer.retCode >= kFirstRedirectStatus) {
            Fail(Finding::kOddRedirect, "status " + std::to_string(answer.retCode) + " from " +
                                            Shortened(m_chain.hops.back().url, kShownAddress));
            return;
        }
        m_chain.page = answer.RespData();
    }

    bool Get(CAutoString url, CHttpData& answer) {
        const auto left = std::chrono::ceil<milliseconds>(m_end - Clock::now());
        const CurlHandle handle = NewCurlHandle();
        if (left <= milliseconds(0) || handle == nullptr) {
            return Fail(
                Finding::kNoAnswer,
                "the whole chain has " + std::to_string(kChainTime.count() / 1000) + " s, and they are over");
        }
        CBufferArray head;
        CBufferArray body;
        head.SetBound(CCurlHttp::kLargestHead);
        body.SetBound(kLargestPage);
        CCurlHttp::PretreatUrl(url);
        SetLimits(handle.get(), left);
        return Perform(handle.get(), url, head, body) && Judge(handle.get(), head, body, answer);
    }

    // As the service does: any certificate will do, for a portal answers in place of every other server.
    static void SetLimits(CURL* handle, milliseconds left) {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
        curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 0L);
        curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT_MS,
                         static_cast<long>(std::min(left, kConnectTime).count()));
        curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, static_cast<long>(left.count()));
        // Otherwise it waits for a name server that does not answer, long beyond the time-out.
        curl_easy_setopt(handle, CURLOPT_QUICK_EXIT, 1L);
    }

    bool Perform(CURL* handle, const CAutoString& url, CBufferArray& head, CBufferArray& body) {
        CHttpData request(true);
        CAutoString lines;
        lines.Format(kProbeHead, m_start.userAgent.GetBuffer());
        request.szHead = lines;
        CurlHeaderList headers;
        CCurlHttp::SetRequestHead(handle, headers.lines, &request);
        char reason[CURL_ERROR_SIZE] = {};
        curl_easy_setopt(handle, CURLOPT_URL, url.GetBuffer());
        curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, reason);
        curl_easy_setopt(handle, CURLOPT_HEADERDATA, &head);
        curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, CCurlHttp::cbWriteData);
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &body);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, CCurlHttp::cbWriteData);
        const CURLcode code = curl_easy_perform(handle);
        curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, nullptr);
        return code == CURLE_OK ||
               Fail(KindOf(code, reason), Shortened(url.GetText(), kShownAddress) + " (" +
                                              (*reason != '\0' ? reason : curl_easy_strerror(code)) + ")");
    }

    bool Judge(CURL* handle, const CBufferArray& head, const CBufferArray& body, CHttpData& answer) {
        long status = 0;
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status);
        answer.retCode = static_cast<int32_t>(status);
        m_chain.hops.back().status = answer.retCode;
        NoteTime(handle);
        if (status >= kStatusFirstError) {
            return Fail(Finding::kRefusedByStatus, "status " + std::to_string(status) + " from " +
                                                       Shortened(m_chain.hops.back().url, kShownAddress));
        }
        answer.RespHead(head.Join());
        answer.RespData(body.Join());
        return true;
    }

    void NoteTime(CURL* handle) {
        curl_header* date = nullptr;
        if (m_chain.clockAheadSeconds ||
            curl_easy_header(handle, "Date", 0, CURLH_HEADER, -1, &date) != CURLHE_OK) {
            return;
        }
        const time_t theirs = curl_getdate(date->value, nullptr);
        if (theirs != -1) {
            m_chain.clockAheadSeconds = static_cast<long>(time(nullptr) - theirs);
        }
    }

    bool Fail(Finding fault, const std::string& reason) {
        m_chain.fault = fault;
        m_chain.reason = reason;
        return false;
    }

    const ChainStart& m_start;
    const Clock::time_point m_end;
    CServerCluster m_cluster;
    Chain m_chain;
};

}  // namespace

bool IsAddress(const CAutoString& text) {
    const std::unique_ptr<CURLU, void (*)(CURLU*)> address(curl_url(), curl_url_cleanup);
    return curl_url_set(address.get(), CURLUPART_URL, text, 0) == CURLUE_OK;
}

Chain WalkChain(const ChainStart& start) {
    return Walk(start).Run();
}

std::string DescribeHops(const Chain& chain) {
    std::string text;
    for (size_t i = 0; i < std::min(chain.hops.size(), kShownHops); ++i) {
        const Hop& hop = chain.hops[i];
        text += (i == 0 ? "GET " : ", GET ") + Shortened(hop.url, kShownAddress) + " ";
        text += hop.status != 0 ? std::to_string(hop.status) : "no answer";
    }
    const size_t rest = chain.hops.size() - std::min(chain.hops.size(), kShownHops);
    return rest > 0 ? text + ", and " + std::to_string(rest) + " more" : text;
}
