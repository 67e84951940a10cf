// What CCurlHttp::Perform costs beside libcurl itself: each exchange once through Perform and once with a
// fresh bare handle that keeps head and body as well, against one server in this process.
#include <benchmark/benchmark.h>
#include <curl/curl.h>
#include <httplib.h>

#include <string>
#include <thread>

#include "CurlHttp.h"

namespace {

constexpr long kSmallest = 512;         // bytes, a portal answer
constexpr long kLargest = 1024 * 1024;  // bytes, more than a module's container

// Gives as many bytes as the path says, and takes any body. Lives as long as the process.
class Server {
  public:
    static std::string Url(long size) {
        static Server server;
        return "http://127.0.0.1:" + std::to_string(server.m_port) + "/" + std::to_string(size);
    }

    ~Server() {
        m_server.stop();
        m_thread.join();
    }

  private:
    Server() {
        m_server.set_keep_alive_max_count(1);
        m_server.Get("/(\\d+)", [](const httplib::Request& request, httplib::Response& response) {
            response.set_content(std::string(std::stoul(request.matches[1]), 'x'), "text/plain");
        });
        m_server.Post("/(\\d+)", [](const httplib::Request&, httplib::Response& response) {
            response.set_content("<response/>", "text/xml");
        });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }

    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
};

// The server takes bodies without it for forms, of which it refuses the long ones.
constexpr char kBodyType[] = "Content-Type:text/xml";

size_t Append(char* data, size_t size, size_t nmemb, void* text) {
    static_cast<std::string*>(text)->append(data, size * nmemb);
    return size * nmemb;
}

// `body` may be null for a GET.
void BareExchange(benchmark::State& state, const std::string& url, const std::string* body) {
    std::string head;
    std::string answer;
    CURL* handle = curl_easy_init();
    curl_easy_setopt(handle, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, Append);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &answer);
    curl_slist* lines = curl_slist_append(nullptr, kBodyType);
    curl_easy_setopt(handle, CURLOPT_HTTPHEADER, lines);
    if (body != nullptr) {
        curl_easy_setopt(handle, CURLOPT_POSTFIELDS, body->c_str());
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    }
    long status = 0;
    if (curl_easy_perform(handle) != CURLE_OK ||
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &status) != CURLE_OK || status != 200) {
        state.SkipWithError("the exchange failed");
    }
    curl_slist_free_all(lines);
    curl_easy_cleanup(handle);
    benchmark::DoNotOptimize(answer.data());
}

void PerformedExchange(benchmark::State& state, const std::string& url, const std::string* body) {
    CHttpData data(true);
    data.szUrl = url.c_str();
    data.szHead = kBodyType;
    if (body != nullptr) {
        data.szVerb = "POST";
        data.szPostData = body->c_str();
        data.dwPostDataLen = body->size();
    }
    if (CCurlHttp().Perform(&data) != CCurlHttp::kDone) {
        state.SkipWithError("the exchange failed");
    }
    benchmark::DoNotOptimize(data.szRespData);
}

using Exchange = void (*)(benchmark::State&, const std::string&, const std::string*);

void Get(benchmark::State& state, Exchange exchange) {
    const std::string url = Server::Url(state.range(0));
    for (auto _ : state) {
        exchange(state, url, nullptr);
    }
}

void Post(benchmark::State& state, Exchange exchange) {
    const std::string url = Server::Url(state.range(0));
    const std::string body(static_cast<size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        exchange(state, url, &body);
    }
}

// libcurl's work is on this thread, whose processor time counts; the server's is on others.
BENCHMARK_CAPTURE(Get, bare, BareExchange)->Name("Get<Bare>")->Arg(kSmallest)->Arg(kLargest);
BENCHMARK_CAPTURE(Get, perform, PerformedExchange)->Name("Get<Own>")->Arg(kSmallest)->Arg(kLargest);
BENCHMARK_CAPTURE(Post, bare, BareExchange)->Name("Post<Bare>")->Arg(kSmallest)->Arg(kLargest);
BENCHMARK_CAPTURE(Post, perform, PerformedExchange)->Name("Post<Own>")->Arg(kSmallest)->Arg(kLargest);

}  // namespace
