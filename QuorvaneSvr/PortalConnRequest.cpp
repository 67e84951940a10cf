// The engine that every request to the portal passes: send, tell a portal from an impostor, and judge the
// portal's error code.
#include <cstdlib>

#include "CurlHttp.h"
#include "HttpStatus.h"
#include "Log.h"
#include "PortalCodes.h"
#include "PortalConn.h"
#include "ZsmHelper.h"
#include "md5.h"

using QuorvaneSvr::TaskItem;

namespace {

constexpr char kErrorCodeHeader[] = "Error-Code";
constexpr char kSubErrorHeader[] = "Sub-Error";
constexpr char kServerTagHeader[] = "Server-Tag";

// So often one request tries to store a new module.
constexpr int kUpdateAttempts = 2;

// The step is repeated with every new module, without a limit. A portal that sends one after the other must
// not burn a core or fill the disk with log lines.
constexpr int kReplacementsWithoutRest = 10;
constexpr unsigned kReplacementRestMs = 30 * 1000;

// None of the request engine's results: the same request is to be sent again.
constexpr int kSendAgain = 0;

int ErrorCodeIn(const CHttpData& answer) {
    const CAutoString code = answer.GetHeadAttri(kErrorCodeHeader);
    return code.IsEmpty() ? PortalError::kMissing : atoi(code);
}

uint64_t LargestBody(const CHttpData& head) {
    return ErrorCodeIn(head) == PortalError::kNewAlgorithm ? CZsmHelper::kMaxSize : kLargestPage;
}

}  // namespace

CAutoString CPortalConn::GetRequestHead(const char* body) {
    const CAuthConfig& record = *m_pPortalConf;
    return m_portalParse.MakeRequestHead(record.strUserAgent, record.strClientId, GetMD5FromPostData(body),
                                         record.schoolId, record.domain, record.area);
}

CAutoString CPortalConn::GetMD5FromPostData(const char* body) {
    return CMD5::MDString(body);
}

int CPortalConn::GetErrorCode(CHttpData& data, CAutoString& subCode) {
    subCode = data.GetHeadAttri(kSubErrorHeader).Trim().Left(kLongestNote);
    return ErrorCodeIn(data);
}

int CPortalConn::UpdateAlgoid(CHttpData* data) {
    NetStateChange(ES_PRECONNECTING, ES_PRECONNECTING, StateCode::kAlgorithmUpdateStarted, "");
    return m_portalParse.UpdateAlgoid(data);
}

// Access controllers answer in the portal's place when the login is gone: with a redirect, or with a page of
// their own. A real portal answer always carries both headers.
int CPortalConn::IsRequestRedirect(CHttpData* data) {
    if (data->retCode == kStatusFound || data->retCode == kStatusSeeOther) {
        return 1;
    }
    if (data->retCode != kStatusOk) {
        return 0;
    }
    const bool isPortalAnswer =
        !data->GetHeadAttri(kErrorCodeHeader).IsEmpty() && !data->GetHeadAttri(kServerTagHeader).IsEmpty();
    return isPortalAnswer ? 0 : 1;
}

void CPortalConn::Post(TaskItem item, const CAutoString& url, const CAutoString& body, uint64_t timeOut,
                       Exchange& exchange) {
    const CAutoString head = GetRequestHead(body);
    CHttpData& request = exchange.answer;
    request.szUrl = url;
    request.szVerb = "POST";
    request.szHead = head;
    request.szPostData = body;
    request.dwPostDataLen = static_cast<uint64_t>(body.GetLength());
    request.dwTimeOut = timeOut;
    request.bChangeCode = false;
    request.bRedirect = false;
    exchange.result = RequestPortalServer(item, &request, exchange.code, exchange.subCode, kRequestAttempts);
    request.szHead = nullptr;  // ends with this call
}

int CPortalConn::RequestPortalServer(TaskItem item, CHttpData* data, unsigned long& code,
                                     CAutoString& subCode, int retries) {
    data->bodyBound = LargestBody;
    int updateFailures = 0;
    for (;;) {
        const int failure = CCurlHttp().Perform(data);
        if (failure != 0) {
            code = static_cast<unsigned long>(failure);
            if (IsServerError(failure)) {
                return JudgeServerError(data->szUrl, failure);
            }
            if (--retries <= 0) {
                return PortalResult::kFailure;
            }
            CLog::GetInst()->WriteLog(INFO, "request %d return err %d,retry", item, failure);
            data->Release();
            continue;
        }
        if (IsRequestRedirect(data) != 0) {
            return JudgeInterception(item, data->szUrl);
        }
        const int error = GetErrorCode(*data, subCode);
        code = static_cast<unsigned long>(error);
        if (error != PortalError::kNewAlgorithm) {
            return JudgeErrorCode(error, subCode);
        }
        const int result = ReplaceAlgorithm(item, data, updateFailures);
        if (result != kSendAgain) {
            return result;
        }
        data->Release();
    }
}

int CPortalConn::JudgeInterception(TaskItem item, const char* url) {
    CLog::GetInst()->WriteLog(INFO, "request %s redirect", url);
    if (item == QuorvaneSvr::pluse) {
        NetStateChange(ES_CONNECTING, ES_CONNECTFAIL, StateCode::kKeepAliveFailed, "");
        m_host.DisConnect(LogoutReason::kIntercepted);
    } else {
        m_host.ChangeToUnknowEnv();
    }
    return PortalResult::kIntercepted;
}

int CPortalConn::JudgeErrorCode(int error, const CAutoString& subCode) {
    m_replacements = 0;
    if (error == PortalError::kNone) {
        return PortalResult::kSuccess;
    }
    if (error == PortalError::kVersionLimit) {
        CLog::GetInst()->WriteLog(INFO, "version limit");
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTFAIL, StateCode::kPortalErrorBase + error, subCode);
        return PortalResult::kRefused;
    }
    return PortalResult::kPortalError;
}

int CPortalConn::ReplaceAlgorithm(TaskItem item, CHttpData* data, int& failures) {
    if (UpdateAlgoid(data) == 1) {
        CLog::GetInst()->WriteLog(INFO, "update algoid success");
        NetStateChange(ES_PRECONNECTING, ES_PRECONNECTING, StateCode::kAlgorithmUpdated, "");
        if (++m_replacements > kReplacementsWithoutRest) {
            Sleep(kReplacementRestMs);
        }
        return PortalResult::kRepeat;
    }
    CLog::GetInst()->WriteLog(INFO, "update algoid fail");
    if (++failures < kUpdateAttempts) {
        return kSendAgain;
    }
    CLog::GetInst()->WriteLog(INFO, "update algoid fail time is %d", failures);
    const bool whileLoggedIn = item == QuorvaneSvr::auth || item == QuorvaneSvr::term;
    NetStateChange(whileLoggedIn ? ES_CONNECTING : ES_PRECONNECTING,
                   whileLoggedIn ? ES_CONNECTFAIL : ES_PRECONNECTFAIL, StateCode::kAlgorithmUpdateFailed, "");
    return PortalResult::kRefused;
}
