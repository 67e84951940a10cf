// Download of files beside the exchange of CCurlHttp::Perform: what a broken download left is kept, and only
// the rest is asked for.
#include "BufferArray.h"
#include "CurlHandle.h"
#include "CurlHttp.h"
#include "FileUtil.h"

namespace {

constexpr long kStalledBytesPerSecond = 1;
constexpr long kStalledSeconds = 5;  // a line that moves less for this long has stalled

// Opens the file so that what arrives goes behind what is there.
FileOwner OpenForAppending(const char* path) {
    FileOwner file(fopen(path, "a+be"));
    if (file != nullptr) {
        fseek(file.get(), 0, SEEK_END);
    }
    return file;
}

}  // namespace

long CCurlHttp::GetLocalFileLenth(const char* path) {
    FileOwner file(fopen(path, "rbe"));
    if (file == nullptr || fseek(file.get(), 0, SEEK_END) != 0) {
        return 0;
    }
    return ftell(file.get());
}

int64_t CCurlHttp::getDownloadFileLenth(const char* url) {
    CBufferArray ignored;  // otherwise libcurl prints the head on standard output
    CurlHandle handle = NewCurlHandle();
    if (handle == nullptr) {
        return -1;
    }
    curl_easy_setopt(handle.get(), CURLOPT_URL, url);
    curl_easy_setopt(handle.get(), CURLOPT_HEADER, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &ignored);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, cbWriteData);
    curl_off_t length = -1;
    if (curl_easy_perform(handle.get()) != CURLE_OK ||
        curl_easy_getinfo(handle.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &length) != CURLE_OK) {
        return -1;
    }
    return length;
}

int CCurlHttp::downLoad(const char* url, const char* path) {
    const long local = GetLocalFileLenth(path);
    FileOwner file = OpenForAppending(path);
    if (file == nullptr) {
        return 0;
    }
    CurlHandle handle = NewCurlHandle();
    if (handle == nullptr) {
        return 1;
    }
    curl_easy_setopt(handle.get(), CURLOPT_URL, url);
    curl_easy_setopt(handle.get(), CURLOPT_LOW_SPEED_LIMIT, kStalledBytesPerSecond);
    curl_easy_setopt(handle.get(), CURLOPT_LOW_SPEED_TIME, kStalledSeconds);
    curl_easy_setopt(handle.get(), CURLOPT_HEADER, 0L);
    curl_easy_setopt(handle.get(), CURLOPT_NOBODY, 0L);
    curl_easy_setopt(handle.get(), CURLOPT_FOLLOWLOCATION, 1L);
    return StartDownload(handle.get(), file.get(), local);
}

int CCurlHttp::downLoad(CHttpData* data, const char* path) {
    const long local = GetLocalFileLenth(path);
    printf("local file len is %ld\n", local);
    FileOwner file = OpenForAppending(path);
    if (file == nullptr) {
        return 0;
    }
    char errorText[CURL_ERROR_SIZE] = {};
    CBufferArray head;
    CurlHandle handle = NewCurlHandle();
    if (handle == nullptr) {
        return 1;
    }
    CurlHeaderList headers;
    if (SetRequest(handle.get(), headers.lines, data, errorText)) {
        curl_easy_setopt(handle.get(), CURLOPT_USE_SSL, static_cast<long>(CURLUSESSL_ALL));
    }
    curl_easy_setopt(handle.get(), CURLOPT_HEADERDATA, &head);
    curl_easy_setopt(handle.get(), CURLOPT_HEADERFUNCTION, cbWriteData);
    return StartDownload(handle.get(), file.get(), local);
}

int CCurlHttp::StartDownload(CURL* handle, FILE* file, long local) {
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, downLoadPackage);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, file);
    curl_easy_setopt(handle, CURLOPT_RESUME_FROM, local);
    curl_easy_setopt(handle, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(handle, CURLOPT_XFERINFOFUNCTION, assetsManagerProgressFunc);
    curl_easy_setopt(handle, CURLOPT_XFERINFODATA, &local);
    return curl_easy_perform(handle) == CURLE_OK ? 1 : 0;
}

int CCurlHttp::assetsManagerProgressFunc(void* local, curl_off_t dltotal, curl_off_t dlnow,
                                         curl_off_t /*ultotal*/, curl_off_t /*ulnow*/) {
    const double before = static_cast<double>(*static_cast<const long*>(local));
    const double now = before + static_cast<double>(dlnow);
    const double total = before + static_cast<double>(dltotal);
    printf("%0d%%\r", dltotal > 0 ? static_cast<int>(now / total * 100) : 0);
    return 0;
}

size_t CCurlHttp::downLoadPackage(char* data, size_t size, size_t nmemb, void* file) {
    auto* stream = static_cast<FILE*>(file);
    const size_t written = fwrite(data, size, nmemb, stream);
    fflush(stream);
    return written;
}
