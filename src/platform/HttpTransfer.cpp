#include "platform/HttpTransfer.h"

#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/FileIO.h"
#include "platform/Log.h"
#include "platform/SharedLibrary.h"

// The functions are called through pointers, so the header's checking macros must not wrap them.
#define CURL_DISABLE_TYPECHECK
#include <curl/curl.h>

#include <QFile>
#include <QPointer>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <optional>
#include <unistd.h>
#include <vector>

namespace platform {
namespace {
constexpr long kReceiveBufferBytes = 512 * 1024;
// Small enough that reading, hashing and sending a piece stay in the processor's cache, and that
// the buffer, made anew for every request, never settles in the heap of each pool thread.
constexpr long kSendBufferBytes = 64 * 1024;
constexpr long kConnectTimeoutSeconds = 30;
constexpr qint64 kMaxKeptAnswerBytes = 1024 * 1024;
constexpr int kMaxIdleHandles = 4;
constexpr auto kProgressInterval = std::chrono::milliseconds(50);
// An answer file is written to be kept, and its keeper makes it durable (fsync) before it takes
// its name: its pages are sent to the disk every this many bytes while the rest still comes, so
// that little is left to write then.
constexpr qint64 kWriteBackBytes = 8 * 1024 * 1024;

struct CurlApi {
    CURLcode (*globalInit)(long);
    CURL* (*easyInit)();
    void (*easyCleanup)(CURL*);
    void (*easyReset)(CURL*);
    CURLcode (*easySetopt)(CURL*, CURLoption, ...);
    CURLcode (*easyPerform)(CURL*);
    CURLcode (*easyGetinfo)(CURL*, CURLINFO, ...);
    const char* (*easyStrerror)(CURLcode);
    curl_slist* (*slistAppend)(curl_slist*, const char*);
    void (*slistFreeAll)(curl_slist*);
};

std::optional<CurlApi> loadCurl()
{
    CurlApi api {};
    QString error;
    const bool opened = openSharedLibrary(WL_CURL_SONAME,
                                          {{reinterpret_cast<void**>(&api.globalInit), "curl_global_init"},
                                           {reinterpret_cast<void**>(&api.easyInit), "curl_easy_init"},
                                           {reinterpret_cast<void**>(&api.easyCleanup), "curl_easy_cleanup"},
                                           {reinterpret_cast<void**>(&api.easyReset), "curl_easy_reset"},
                                           {reinterpret_cast<void**>(&api.easySetopt), "curl_easy_setopt"},
                                           {reinterpret_cast<void**>(&api.easyPerform), "curl_easy_perform"},
                                           {reinterpret_cast<void**>(&api.easyGetinfo), "curl_easy_getinfo"},
                                           {reinterpret_cast<void**>(&api.easyStrerror), "curl_easy_strerror"},
                                           {reinterpret_cast<void**>(&api.slistAppend), "curl_slist_append"},
                                           {reinterpret_cast<void**>(&api.slistFreeAll), "curl_slist_free_all"}},
                                          &error);
    if (!opened) {
        log(QStringLiteral("HTTP transfers are not available: %1").arg(error));
        return std::nullopt;
    }
    if (api.globalInit(CURL_GLOBAL_DEFAULT) != CURLE_OK) {
        log(QStringLiteral("HTTP transfers are not available: libcurl did not start"));
        return std::nullopt;
    }
    return api;
}

// libcurl, and the handles of finished exchanges: each keeps its connections open for the next.
class Curl {
public:
    explicit Curl(const CurlApi& api) : api(api) {}
    ~Curl()
    {
        for (CURL* handle : mIdle)
            api.easyCleanup(handle);
    }

    static Curl* instance()
    {
        static const std::optional<CurlApi> api = loadCurl();
        if (!api)
            return nullptr;
        // Made after libcurl started, so it goes before libcurl's and OpenSSL's own exit handlers run.
        static Curl curl(*api);
        return &curl;
    }

    CURL* take()
    {
        {
            std::lock_guard lock(mMutex);
            if (!mIdle.empty()) {
                CURL* handle = mIdle.back();
                mIdle.pop_back();
                api.easyReset(handle);
                return handle;
            }
        }
        return api.easyInit();
    }

    void give(CURL* handle)
    {
        std::unique_lock lock(mMutex);
        if (int(mIdle.size()) < kMaxIdleHandles) {
            mIdle.push_back(handle);
            return;
        }
        lock.unlock();
        api.easyCleanup(handle);
    }

    const CurlApi api;

private:
    std::mutex mMutex;
    std::vector<CURL*> mIdle;
};

// A descriptor closed when it goes.
struct Descriptor {
    int fd = -1;
    Descriptor() = default;
    explicit Descriptor(int fd) : fd(fd) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// A file of ours failed: what, and the system's reason (errno, read right after the failing call).
void failLocally(HttpTransfer::Result& result, const QString& what, int error)
{
    result.localError = true;
    result.reason = QString::fromLocal8Bit(std::strerror(error));
    result.error = QStringLiteral("%1: %2").arg(what, result.reason);
}

QByteArray trimmedHeaderPart(const char* data, size_t size)
{
    return QByteArray(data, qsizetype(size)).trimmed();
}
}  // namespace

QByteArray HttpTransfer::Result::header(const QByteArray& name) const
{
    for (const Header& h : headers)
        if (h.first.compare(name, Qt::CaseInsensitive) == 0)
            return h.second;
    return {};
}

bool HttpTransfer::Result::hasHeader(const QByteArray& name) const
{
    for (const Header& h : headers)
        if (h.first.compare(name, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

struct HttpTransfer::State {
    std::atomic<bool> cancelled {false};
    Progress progress;  // main thread only
};

namespace {
// What one exchange sees on the worker thread while libcurl runs it.
struct Exchange {
    const HttpTransfer::Request* request = nullptr;
    const CurlApi* api = nullptr;
    CURL* handle = nullptr;
    std::shared_ptr<HttpTransfer::State> state;
    QPointer<HttpTransfer> owner;
    Descriptor body;
    qint64 bodyPosition = 0;  // within the range
    Descriptor answer;
    bool answerToFile = false;
    qint64 writtenBack = 0;  // answer bytes whose write-back has been started
    bool statusKnown = false;
    HttpTransfer::Result result;
    std::chrono::steady_clock::time_point lastProgress;
    qint64 lastProgressDone = -1;
};

size_t readBody(char* buffer, size_t size, size_t count, void* user)
{
    auto* x = static_cast<Exchange*>(user);
    const HttpTransfer::Request& r = *x->request;
    const qint64 want = qMin(qint64(size * count), r.bodyLength - x->bodyPosition);
    if (want <= 0)
        return 0;
    const qint64 offset = r.bodyOffset + x->bodyPosition;
    if (!preadAll(x->body.fd, buffer, want, offset)) {
        const int error = errno;
        if (error == ENOSPC)  // what preadAll says when the file ends first
            failLocally(x->result, QStringLiteral("%1 ended before the bytes to send").arg(r.bodyFile), EIO);
        else
            failLocally(x->result, QStringLiteral("Could not read %1").arg(r.bodyFile), error);
        return CURL_READFUNC_ABORT;
    }
    x->bodyPosition += want;
    return size_t(want);
}

int seekBody(void* user, curl_off_t offset, int origin)
{
    auto* x = static_cast<Exchange*>(user);
    if (origin != SEEK_SET || offset < 0 || offset > x->request->bodyLength)
        return CURL_SEEKFUNC_CANTSEEK;
    x->bodyPosition = offset;
    return CURL_SEEKFUNC_OK;
}

size_t takeHeader(char* data, size_t size, size_t count, void* user)
{
    auto* x = static_cast<Exchange*>(user);
    const size_t length = size * count;
    if (length >= 5 && std::memcmp(data, "HTTP/", 5) == 0) {
        // A new answer (after "100 Continue" or a failed connection): only the last one counts.
        x->result.headers.clear();
        x->statusKnown = false;
        return length;
    }
    const char* colon = static_cast<const char*>(std::memchr(data, ':', length));
    if (colon)
        x->result.headers.append({trimmedHeaderPart(data, size_t(colon - data)),
                                  trimmedHeaderPart(colon + 1, length - size_t(colon - data) - 1)});
    return length;
}

size_t takeAnswer(char* data, size_t size, size_t count, void* user)
{
    auto* x = static_cast<Exchange*>(user);
    const HttpTransfer::Request& r = *x->request;
    const size_t length = size * count;
    if (!x->statusKnown) {
        long status = 0;
        x->api->easyGetinfo(x->handle, CURLINFO_RESPONSE_CODE, &status);
        x->result.status = int(status);
        x->answerToFile = x->answer.fd >= 0 && status >= 200 && status < 300;
        x->statusKnown = true;
    }
    if (!x->answerToFile) {
        const qint64 room = kMaxKeptAnswerBytes - x->result.body.size();
        if (room > 0)
            x->result.body.append(data, qMin(qint64(length), room));
        return length;
    }
    if (!writeAll(x->answer.fd, data, qint64(length))) {
        failLocally(x->result, QStringLiteral("Could not write %1").arg(r.answerFile), errno);
        return 0;  // ends the exchange
    }
    if (r.answerTap)
        r.answerTap(data, qint64(length));
    x->result.answerBytes += qint64(length);
    if (x->result.answerBytes - x->writtenBack >= kWriteBackBytes) {
        // Starts the write-back without waiting for it; a failure shows at the keeper's fsync.
        ::sync_file_range(x->answer.fd, x->writtenBack, x->result.answerBytes - x->writtenBack, SYNC_FILE_RANGE_WRITE);
        x->writtenBack = x->result.answerBytes;
    }
    return length;
}

int reportProgress(void* user, curl_off_t receiveTotal, curl_off_t received, curl_off_t sendTotal, curl_off_t sent)
{
    auto* x = static_cast<Exchange*>(user);
    if (x->state->cancelled.load(std::memory_order_relaxed))
        return 1;  // aborts the exchange
    const bool sending = !x->request->bodyFile.isEmpty();
    const qint64 done = sending ? sent : received;
    const qint64 total = sending ? sendTotal : receiveTotal;
    const auto now = std::chrono::steady_clock::now();
    if (done == x->lastProgressDone || (now - x->lastProgress < kProgressInterval && done != total))
        return 0;
    x->lastProgress = now;
    x->lastProgressDone = done;
    runOnMain([owner = x->owner, state = x->state, done, total] {
        if (owner && state->progress && !state->cancelled)
            state->progress(done, total);
    });
    return 0;
}

bool openFiles(Exchange& x)
{
    const HttpTransfer::Request& r = *x.request;
    if (!r.bodyFile.isEmpty()) {
        x.body.fd = ::open(QFile::encodeName(r.bodyFile).constData(), O_RDONLY | O_CLOEXEC);
        if (x.body.fd < 0) {
            failLocally(x.result, QStringLiteral("Could not read %1").arg(r.bodyFile), errno);
            return false;
        }
    }
    if (!r.answerFile.isEmpty()) {
        x.answer.fd = ::open(QFile::encodeName(r.answerFile).constData(), O_WRONLY | O_CLOEXEC | O_NOFOLLOW);
        if (x.answer.fd < 0 || ::ftruncate(x.answer.fd, 0) != 0) {
            failLocally(x.result, QStringLiteral("Could not write %1").arg(r.answerFile), errno);
            return false;
        }
    }
    return true;
}

HttpTransfer::Result perform(const HttpTransfer::Request& request, const std::shared_ptr<HttpTransfer::State>& state,
                             const QPointer<HttpTransfer>& owner)
{
    Exchange x;
    x.request = &request;
    x.state = state;
    x.owner = owner;
    Curl* curl = Curl::instance();
    if (!curl) {
        x.result.error = QStringLiteral("HTTP transfers are not available");
        return x.result;
    }
    if (!openFiles(x))
        return x.result;
    const CurlApi& api = curl->api;
    x.api = &api;
    x.handle = curl->take();
    if (!x.handle) {
        x.result.error = QStringLiteral("HTTP transfers are not available");
        return x.result;
    }
    CURL* h = x.handle;
    curl_slist* headers = nullptr;
    for (const HttpTransfer::Header& header : request.headers) {
        // "Name:" removes a header libcurl would add; "Name;" sends it empty.
        const QByteArray line = header.first + (header.second.isEmpty() ? QByteArray(":") : ": " + header.second);
        headers = api.slistAppend(headers, line.constData());
    }
    // The body goes at once: waiting for "100 Continue" costs a round trip on every request.
    headers = api.slistAppend(headers, "Expect:");
    char errorText[CURL_ERROR_SIZE] = {};
    const QByteArray url = request.url.toEncoded();
    api.easySetopt(h, CURLOPT_URL, url.constData());
    api.easySetopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    api.easySetopt(h, CURLOPT_NOSIGNAL, 1L);
    api.easySetopt(h, CURLOPT_ERRORBUFFER, errorText);
    api.easySetopt(h, CURLOPT_HTTPHEADER, headers);
    api.easySetopt(h, CURLOPT_POST, 1L);
    api.easySetopt(h, CURLOPT_CONNECTTIMEOUT, kConnectTimeoutSeconds);
    api.easySetopt(h, CURLOPT_LOW_SPEED_LIMIT, 1L);
    api.easySetopt(h, CURLOPT_LOW_SPEED_TIME, long(request.stallSeconds));
    api.easySetopt(h, CURLOPT_BUFFERSIZE, kReceiveBufferBytes);
    api.easySetopt(h, CURLOPT_UPLOAD_BUFFERSIZE, kSendBufferBytes);
    api.easySetopt(h, CURLOPT_HEADERFUNCTION, &takeHeader);
    api.easySetopt(h, CURLOPT_HEADERDATA, &x);
    api.easySetopt(h, CURLOPT_WRITEFUNCTION, &takeAnswer);
    api.easySetopt(h, CURLOPT_WRITEDATA, &x);
    api.easySetopt(h, CURLOPT_NOPROGRESS, 0L);
    api.easySetopt(h, CURLOPT_XFERINFOFUNCTION, &reportProgress);
    api.easySetopt(h, CURLOPT_XFERINFODATA, &x);
    if (request.bodyFile.isEmpty()) {
        api.easySetopt(h, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(0));
        api.easySetopt(h, CURLOPT_POSTFIELDS, "");
    } else {
        api.easySetopt(h, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(request.bodyLength));
        api.easySetopt(h, CURLOPT_READFUNCTION, &readBody);
        api.easySetopt(h, CURLOPT_READDATA, &x);
        api.easySetopt(h, CURLOPT_SEEKFUNCTION, &seekBody);
        api.easySetopt(h, CURLOPT_SEEKDATA, &x);
    }
    const CURLcode code = api.easyPerform(h);
    long status = 0;
    api.easyGetinfo(h, CURLINFO_RESPONSE_CODE, &status);
    api.slistFreeAll(headers);
    // The handle keeps the connection for the next exchange, unless this one broke off.
    if (code == CURLE_OK)
        curl->give(h);
    else
        api.easyCleanup(h);

    HttpTransfer::Result& result = x.result;
    result.status = int(status);
    if (state->cancelled) {
        result.cancelled = true;
        result.error = QStringLiteral("cancelled");
    } else if (code == CURLE_PARTIAL_FILE) {
        result.cutOff = true;
        result.error = QStringLiteral("the answer was cut off");
    } else if (code != CURLE_OK && result.error.isEmpty()) {
        result.error = QString::fromUtf8(errorText[0] ? errorText : api.easyStrerror(code));
    }
    return result;
}
}  // namespace

HttpTransfer::HttpTransfer(QObject* parent) : QObject(parent) {}

HttpTransfer::~HttpTransfer() { cancel(); }

bool HttpTransfer::isAvailable() { return Curl::instance() != nullptr; }

bool HttpTransfer::start(Request request, Progress progress, Done done)
{
    if (mState)
        return false;
    auto state = std::make_shared<State>();
    state->progress = std::move(progress);
    mState = state;
    runInBackground(
        this, [request = std::move(request), state, owner = QPointer<HttpTransfer>(this)] { return perform(request, state, owner); },
        [this, state, done = std::move(done)](const Result& result) {
            if (mState != state)
                return;
            mState.reset();
            done(result);
        },
        waitingPool());
    return true;
}

void HttpTransfer::cancel()
{
    if (mState)
        mState->cancelled = true;
}

}  // namespace platform
