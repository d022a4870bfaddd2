#include "platform/HttpServerFront.h"

#include "platform/TlsContext.h"

#include <httplib.h>
#include <openssl/err.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <climits>
#include <csignal>
#include <set>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace platform {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kListenBacklog = 128;
constexpr size_t kReadChunk = 16 * 1024;
constexpr int kWaitMs = 250;
// How long a worker looks for the next request on a kept-alive connection before handing it back.
constexpr int kNextRequestWaitMs = 2;
// Small writes of one response (its header, a short body) leave together in one packet.
constexpr size_t kWriteGather = 16 * 1024;

thread_local bool tCloseAfterResponse = false;

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : mFd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return mFd; }
    int release() { return std::exchange(mFd, -1); }
    void reset(int fd = -1)
    {
        if (mFd >= 0)
            ::close(mFd);
        mFd = fd;
    }

private:
    int mFd;
};

// Connections per client address and in total.
struct Counts {
    std::mutex mutex;
    std::map<std::string, int> perClient;
    int total = 0;

    void release(const std::string& peer)
    {
        std::lock_guard lock(mutex);
        --total;
        if (--perClient[peer] <= 0)
            perClient.erase(peer);
    }
};

struct Connection {
    Connection(int fd, std::string client, Counts& counts, uint64_t serial)
        : socket(fd), peer(std::move(client)), counts(counts), serial(serial)
    {
    }
    ~Connection() { counts.release(peer); }

    Descriptor socket;
    std::unique_ptr<SSL, decltype(&SSL_free)> ssl{nullptr, &SSL_free};  // freed before the socket closes
    bool handshaken = false;
    bool plainOnTls = false;      // a browser speaking plain HTTP to the HTTPS port
    std::string peer;
    Counts& counts;
    uint64_t serial;              // arrival order: the oldest waiting one goes first
    std::string buffer;           // bytes read and not yet handed to the request parser
    size_t scanned = 0;           // bytes of buffer already searched for the header's end
    size_t headerBytes = 0;       // the whole header's length, once it is there
    int lines = 0;
    Clock::time_point deadline;
    int requests = 0;
    // The parser asks for both ends' addresses at every request; they never change.
    std::string remoteIp, localIp;
    int remotePort = -1, localPort = -1;
};

int waitFor(int fd, short events, int timeoutMs)
{
    pollfd p{fd, events, 0};
    for (;;) {
        const int n = ::poll(&p, 1, timeoutMs);
        if (n < 0 && errno == EINTR)
            continue;
        return n;
    }
}

std::string addressText(const sockaddr_storage& address, int* port)
{
    char text[INET6_ADDRSTRLEN] = {};
    if (address.ss_family == AF_INET) {
        const auto* a = reinterpret_cast<const sockaddr_in*>(&address);
        ::inet_ntop(AF_INET, &a->sin_addr, text, sizeof text);
        *port = ntohs(a->sin_port);
    } else if (address.ss_family == AF_INET6) {
        const auto* a = reinterpret_cast<const sockaddr_in6*>(&address);
        ::inet_ntop(AF_INET6, &a->sin6_addr, text, sizeof text);
        *port = ntohs(a->sin6_port);
    }
    return text;
}

// recv(2), or SSL_read on a TLS connection, with TLS's "not yet" answers as EAGAIN; *wait is
// the direction to wait in before trying again.
ssize_t receiveSome(Connection& c, char* ptr, size_t size, short* wait)
{
    *wait = POLLIN;
    if (!c.ssl)
        return ::recv(c.socket.get(), ptr, size, 0);
    ERR_clear_error();
    const int n = SSL_read(c.ssl.get(), ptr, int(std::min<size_t>(size, INT_MAX)));
    if (n > 0)
        return n;
    switch (SSL_get_error(c.ssl.get(), n)) {
    case SSL_ERROR_WANT_WRITE:
        *wait = POLLOUT;
        [[fallthrough]];
    case SSL_ERROR_WANT_READ:
        errno = EAGAIN;
        return -1;
    case SSL_ERROR_ZERO_RETURN:
        return 0;
    default:
        errno = ECONNRESET;
        return -1;
    }
}

ssize_t sendSome(Connection& c, const char* ptr, size_t size, short* wait)
{
    *wait = POLLOUT;
    if (!c.ssl)
        return ::send(c.socket.get(), ptr, size, MSG_NOSIGNAL);
    ERR_clear_error();
    const int n = SSL_write(c.ssl.get(), ptr, int(std::min<size_t>(size, INT_MAX)));
    if (n > 0)
        return n;
    switch (SSL_get_error(c.ssl.get(), n)) {
    case SSL_ERROR_WANT_READ:
        *wait = POLLIN;
        [[fallthrough]];
    case SSL_ERROR_WANT_WRITE:
        errno = EAGAIN;
        return -1;
    default:
        errno = EPIPE;
        return -1;
    }
}

// A connection seen by the request parser: first the bytes the front already read, then the
// socket. Waiting on a client that moves too few bytes fails, and the request with it.
class ConnectionStream : public httplib::Stream {
public:
    ConnectionStream(Connection& c, int windowSeconds) : mConnection(c), mWindowMs(windowSeconds * 1000) {}
    ~ConnectionStream() override { mConnection.buffer.erase(0, mOffset); }

    bool is_readable() const override
    {
        // The client may be waiting for what we gathered ("100 Continue") before it sends more.
        if (!flush())
            return false;
        return mOffset < mConnection.buffer.size() || (mConnection.ssl && SSL_pending(mConnection.ssl.get()) > 0)
               || waitForClient(POLLIN);
    }
    bool is_writable() const override { return waitForClient(POLLOUT); }
    ssize_t read(char* ptr, size_t size) override
    {
        if (!flush())
            return -1;
        std::string& buffer = mConnection.buffer;
        if (mOffset >= buffer.size()) {
            buffer.clear();
            mOffset = 0;
            // Small reads (the parser asks for one byte at a time) go through the buffer.
            if (size < kReadChunk) {
                char chunk[kReadChunk];
                const ssize_t n = receive(chunk, sizeof chunk);
                if (n <= 0)
                    return n;
                buffer.assign(chunk, size_t(n));
            } else {
                return receive(ptr, size);
            }
        }
        const size_t n = std::min(size, buffer.size() - mOffset);
        std::memcpy(ptr, buffer.data() + mOffset, n);
        mOffset += n;
        return ssize_t(n);
    }
    ssize_t write(const char* ptr, size_t size) override
    {
        if (mGathered.size() + size <= kWriteGather) {
            mGathered.append(ptr, size);
            return ssize_t(size);
        }
        if (!flush())
            return -1;
        if (size < kWriteGather) {
            mGathered.assign(ptr, size);
            return ssize_t(size);
        }
        return sendAll(ptr, size) ? ssize_t(size) : -1;
    }
    // Sends what small writes gathered; the server calls it when the response is complete.
    bool flush() const
    {
        const std::string gathered = std::move(mGathered);
        mGathered.clear();
        return gathered.empty() || sendAll(gathered.data(), gathered.size());
    }
    void get_remote_ip_and_port(std::string& ip, int& port) const override
    {
        if (mConnection.remotePort < 0) {
            sockaddr_storage address{};
            socklen_t length = sizeof address;
            mConnection.remotePort = 0;
            if (::getpeername(fd(), reinterpret_cast<sockaddr*>(&address), &length) == 0)
                mConnection.remoteIp = addressText(address, &mConnection.remotePort);
        }
        ip = mConnection.remoteIp;
        port = mConnection.remotePort;
    }
    void get_local_ip_and_port(std::string& ip, int& port) const override
    {
        if (mConnection.localPort < 0) {
            sockaddr_storage address{};
            socklen_t length = sizeof address;
            mConnection.localPort = 0;
            if (::getsockname(fd(), reinterpret_cast<sockaddr*>(&address), &length) == 0)
                mConnection.localIp = addressText(address, &mConnection.localPort);
        }
        ip = mConnection.localIp;
        port = mConnection.localPort;
    }
    socket_t socket() const override { return fd(); }

private:
    int fd() const { return mConnection.socket.get(); }

    bool sendAll(const char* ptr, size_t size) const
    {
        size_t sent = 0;
        while (sent < size) {
            short wait = POLLOUT;
            const ssize_t n = sendSome(mConnection, ptr + sent, size - sent, &wait);
            if (n > 0) {
                sent += size_t(n);
                moved(size_t(n));
            } else if (n < 0 && errno == EINTR) {
                continue;
            } else if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                if (!waitForClient(wait))
                    return false;
            } else {
                return false;
            }
        }
        return true;
    }

    // Waits within what is left of the window; the time spent waiting counts against it.
    bool waitForClient(short events) const
    {
        const int left = mWindowMs - mStalledMs;
        if (left <= 0)
            return false;
        const Clock::time_point start = Clock::now();
        const int n = waitFor(fd(), events, left);
        mStalledMs += int(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start).count());
        return n > 0;
    }
    void moved(size_t bytes) const
    {
        mMovedBytes += bytes;
        if (mMovedBytes >= size_t(HttpServerFront::kMinTransferBytes)) {
            mMovedBytes = 0;
            mStalledMs = 0;
        }
    }
    ssize_t receive(char* ptr, size_t size)
    {
        for (;;) {
            short wait = POLLIN;
            const ssize_t n = receiveSome(mConnection, ptr, size, &wait);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
                if (!waitForClient(wait))
                    return -1;
                continue;
            }
            if (n > 0)
                moved(size_t(n));
            return n;
        }
    }

    Connection& mConnection;
    mutable std::string mGathered;
    size_t mOffset = 0;
    const int mWindowMs;
    mutable int mStalledMs = 0;
    mutable size_t mMovedBytes = 0;
};

bool startsWithNoCase(const std::string& text, size_t at, const char* prefix)
{
    const size_t n = std::strlen(prefix);
    return text.size() >= at + n && ::strncasecmp(text.data() + at, prefix, n) == 0;
}

// A request with a body must say how long it is: reading "until the client closes" would hold a worker.
bool bodyIsFramed(const std::string& header)
{
    const size_t space = header.find(' ');
    const std::string method = header.substr(0, space);
    if (method == "GET" || method == "HEAD" || method == "OPTIONS" || method == "DELETE")
        return true;
    for (size_t line = header.find('\n'); line != std::string::npos; line = header.find('\n', line + 1)) {
        if (startsWithNoCase(header, line + 1, "content-length:") || startsWithNoCase(header, line + 1, "transfer-encoding:"))
            return true;
    }
    return false;
}

void answerAndClose(Connection& c, const char* statusLine)
{
    const std::string reply = std::string("HTTP/1.1 ") + statusLine
                              + "\r\nContent-Type: text/plain; charset=utf-8\r\nConnection: close\r\nContent-Length: "
                              + std::to_string(std::strlen(statusLine) - 4) + "\r\n\r\n" + (statusLine + 4);
    short wait = 0;
    (void)sendSome(c, reply.data(), reply.size(), &wait);
    if (c.ssl)
        SSL_shutdown(c.ssl.get());
    ::shutdown(c.socket.get(), SHUT_WR);
}

// An address typed without "https://" for the HTTPS drive: the browser is sent to the same
// path over HTTPS, on the address it reached (never a host name the request chose). Only a page
// is redirected; anything else is refused.
void redirectToHttps(Connection& c)
{
    const std::string& h = c.buffer;
    const size_t space = h.find(' ');
    const size_t end = space == std::string::npos ? std::string::npos : h.find(' ', space + 1);
    const std::string method = h.substr(0, space);
    std::string target = end == std::string::npos ? std::string() : h.substr(space + 1, end - space - 1);
    const bool page = method == "GET" || method == "HEAD";
    if (!page || target.empty() || target[0] != '/' || target.size() > 2048
        || target.find_first_of("\r\n\t\"<>\\") != std::string::npos)
        target = "/";
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    int port = 0;
    if (!page || ::getsockname(c.socket.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        answerAndClose(c, "400 This drive speaks HTTPS only");
        return;
    }
    std::string host = addressText(address, &port);
    if (address.ss_family == AF_INET6)
        host = "[" + host + "]";
    const std::string location = "https://" + host + ":" + std::to_string(port) + target;
    const std::string body = "This drive speaks HTTPS only: " + location + "\n";
    const std::string reply = "HTTP/1.1 302 Found\r\nLocation: " + location
                              + "\r\nContent-Type: text/plain; charset=utf-8\r\nConnection: close\r\nContent-Length: "
                              + std::to_string(body.size()) + "\r\n\r\n" + (method == "HEAD" ? std::string() : body);
    short wait = 0;
    (void)sendSome(c, reply.data(), reply.size(), &wait);
    ::shutdown(c.socket.get(), SHUT_WR);
}

}  // namespace

void HttpServerFront::closeAfterThisResponse() { tCloseAfterResponse = true; }

struct HttpServerFront::Impl {
    Serve serve;
    std::function<void()> afterAnswer;
    Descriptor listener;
    Descriptor poller;
    Descriptor wake;
    std::thread thread;
    std::unique_ptr<httplib::ThreadPool> workers;
    std::atomic<bool> stopping{false};
    std::atomic<int> transferWindowSeconds{kTransferWindowSeconds};
    std::shared_ptr<TlsContext> tls;
    Counts counts;
    uint64_t nextSerial = 0;
    std::map<int, std::unique_ptr<Connection>> waiting;  // front thread only

    std::mutex mutex;  // guards the two below
    std::deque<std::unique_ptr<Connection>> returned;
    std::set<int> busy;  // sockets a worker is serving

    void signal()
    {
        const uint64_t one = 1;
        (void)::write(wake.get(), &one, sizeof one);
    }

    void watch(std::unique_ptr<Connection> c)
    {
        c->deadline = Clock::now() + std::chrono::seconds(kHeaderTimeoutSeconds);
        // What a keep-alive client sent ahead may already hold a whole header.
        if (!c->buffer.empty()) {
            const int state = headerState(*c);
            if (state < 0)
                answerAndClose(*c, "431 Request header too large");
            if (state > 0)
                finishHeader(std::move(c));
            if (state != 0)
                return;
        }
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = c->socket.get();
        const int fd = c->socket.get();
        // Bytes TLS already took off the socket wake no one: read them now.
        const bool pending = c->ssl && c->handshaken && SSL_has_pending(c->ssl.get());
        if (::epoll_ctl(poller.get(), EPOLL_CTL_ADD, fd, &event) == 0) {
            waiting.emplace(fd, std::move(c));
            if (pending)
                readHeader(fd);
        }
    }

    void unwatch(int fd)
    {
        ::epoll_ctl(poller.get(), EPOLL_CTL_DEL, fd, nullptr);
        waiting.erase(fd);
    }

    // Drops the oldest connection still waiting for its header (of that client when peer is set).
    bool evictOldest(const std::string* peer)
    {
        auto oldest = waiting.end();
        for (auto it = waiting.begin(); it != waiting.end(); ++it)
            if ((!peer || it->second->peer == *peer) && (oldest == waiting.end() || it->second->serial < oldest->second->serial))
                oldest = it;
        if (oldest == waiting.end())
            return false;
        unwatch(oldest->first);
        return true;
    }

    void admit(int fd)
    {
        Descriptor socket(fd);
        sockaddr_storage address{};
        socklen_t length = sizeof address;
        int port = 0;
        const std::string peer = ::getpeername(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0
                                     ? addressText(address, &port) : std::string();
        for (int pass = 0; pass < 2; ++pass) {
            bool overClient, overTotal;
            {
                std::lock_guard lock(counts.mutex);
                overClient = counts.perClient[peer] >= kMaxConnectionsPerClient;
                overTotal = counts.total >= kMaxConnections;
                if (!overClient && !overTotal) {
                    ++counts.perClient[peer];
                    ++counts.total;
                    break;
                }
                if (counts.perClient[peer] == 0)
                    counts.perClient.erase(peer);
            }
            if (pass == 1 || !evictOldest(overClient ? &peer : nullptr))
                return;  // every slot is serving a request: refuse this one
        }
        const int yes = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
        auto c = std::make_unique<Connection>(socket.release(), peer, counts, nextSerial++);
        if (tls) {
            c->ssl.reset(SSL_new(tls->native()));
            if (!c->ssl || SSL_set_fd(c->ssl.get(), fd) != 1)
                return;
            SSL_set_accept_state(c->ssl.get());
        }
        watch(std::move(c));
    }

    // 1: a whole header is in the buffer; 0: not yet; -1: over the limits.
    int headerState(Connection& c)
    {
        const std::string& b = c.buffer;
        for (size_t i = c.scanned; i < b.size(); ++i) {
            if (b[i] != '\n')
                continue;
            ++c.lines;
            if (i >= 3 && b.compare(i - 3, 4, "\r\n\r\n") == 0) {
                c.headerBytes = i + 1;
                c.scanned = 0;
                c.lines = 0;
                return 1;
            }
            if (c.lines > kMaxHeaderLines)
                return -1;
        }
        c.scanned = b.size();
        return b.size() > kMaxHeaderBytes ? -1 : 0;
    }

    void readHeader(int fd)
    {
        auto it = waiting.find(fd);
        if (it == waiting.end())
            return;
        Connection& c = *it->second;
        if (c.ssl && !c.handshaken) {
            // A TLS client opens with a handshake record; a letter is a plain HTTP request line.
            unsigned char first = 0;
            if (::recv(fd, &first, 1, MSG_PEEK) == 1 && first >= 'A' && first <= 'Z') {
                c.ssl.reset();
                c.plainOnTls = true;
            }
        }
        if (c.ssl && !c.handshaken) {
            // The handshake runs here, within the header's time: a client that stalls in it
            // holds no worker either.
            ERR_clear_error();
            const int done = SSL_do_handshake(c.ssl.get());
            if (done != 1) {
                const int error = SSL_get_error(c.ssl.get(), done);
                if (error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE)
                    unwatch(fd);
                return;
            }
            c.handshaken = true;
        }
        char chunk[kReadChunk];
        for (;;) {
            short wait = POLLIN;
            const ssize_t n = receiveSome(c, chunk, sizeof chunk, &wait);
            if (n < 0 && errno == EINTR)
                continue;
            if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK))
                return;
            if (n <= 0) {
                unwatch(fd);
                return;
            }
            c.buffer.append(chunk, size_t(n));
            const int state = headerState(c);
            if (state < 0) {
                answerAndClose(c, "431 Request header too large");
                unwatch(fd);
                return;
            }
            if (state > 0) {
                std::unique_ptr<Connection> ready = std::move(it->second);
                unwatch(fd);
                finishHeader(std::move(ready));
                return;
            }
        }
    }

    void finishHeader(std::unique_ptr<Connection> c)
    {
        if (c->plainOnTls) {
            redirectToHttps(*c);
            return;
        }
        if (!bodyIsFramed(c->buffer)) {
            answerAndClose(*c, "411 Length required");
            return;
        }
        {
            std::lock_guard lock(mutex);
            busy.insert(c->socket.get());
        }
        auto shared = std::make_shared<std::unique_ptr<Connection>>(std::move(c));
        workers->enqueue([this, shared] { work(std::move(*shared)); });
    }

    void work(std::unique_ptr<Connection> c)
    {
        for (;;) {
            const bool last = stopping || ++c->requests >= kKeepAliveRequests;
            bool closed = false;
            tCloseAfterResponse = false;
            bool ok;
            {
                ConnectionStream stream(*c, transferWindowSeconds);
                ok = serve(stream, std::string_view(c->buffer).substr(0, c->headerBytes), last, closed);
                ok = stream.flush() && ok;
            }
            if (afterAnswer)
                afterAnswer();
            const bool keep = ok && !closed && !last && !tCloseAfterResponse && !stopping;
            if (keep && nextHeaderArrived(*c))
                continue;
            std::lock_guard lock(mutex);
            busy.erase(c->socket.get());
            if (keep) {
                returned.push_back(std::move(c));
                signal();
            }
            return;
        }
    }

    // A client that keeps its connection usually sends the next request right after our answer
    // (a browser or curl uploading one file after another): a whole header that is there at
    // once is served by the same worker, sparing two thread hand-overs per request. Anything
    // slower, larger or unframed goes back to the front, which keeps its limits.
    bool nextHeaderArrived(Connection& c)
    {
        if (c.ssl)
            return false;
        if (c.buffer.empty()) {
            if (waitFor(c.socket.get(), POLLIN, kNextRequestWaitMs) <= 0)
                return false;
            char chunk[kReadChunk];
            const ssize_t n = ::recv(c.socket.get(), chunk, sizeof chunk, 0);
            if (n <= 0)
                return false;
            c.buffer.append(chunk, size_t(n));
        }
        return headerState(c) > 0 && bodyIsFramed(c.buffer);
    }

    void expire()
    {
        const Clock::time_point now = Clock::now();
        for (auto it = waiting.begin(); it != waiting.end();) {
            if (it->second->deadline <= now) {
                ::epoll_ctl(poller.get(), EPOLL_CTL_DEL, it->first, nullptr);
                it = waiting.erase(it);
            } else {
                ++it;
            }
        }
    }

    void run()
    {
        epoll_event events[64];
        while (!stopping) {
            const int n = ::epoll_wait(poller.get(), events, 64, kWaitMs);
            for (int i = 0; i < n && !stopping; ++i) {
                const int fd = events[i].data.fd;
                if (fd == listener.get()) {
                    for (int client; (client = ::accept4(fd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;)
                        admit(client);
                } else if (fd == wake.get()) {
                    uint64_t count = 0;
                    (void)::read(fd, &count, sizeof count);
                    std::deque<std::unique_ptr<Connection>> back;
                    {
                        std::lock_guard lock(mutex);
                        back.swap(returned);
                    }
                    for (auto& c : back)
                        watch(std::move(c));
                } else {
                    readHeader(fd);
                }
            }
            expire();
        }
        waiting.clear();
    }
};

HttpServerFront::HttpServerFront(Serve serve) : d(std::make_unique<Impl>()) { d->serve = std::move(serve); }

HttpServerFront::~HttpServerFront() { stop(); }

void HttpServerFront::setTransferWindow(int seconds) { d->transferWindowSeconds = std::max(1, seconds); }

void HttpServerFront::setAfterAnswer(std::function<void()> afterAnswer) { d->afterAnswer = std::move(afterAnswer); }

void HttpServerFront::setTls(std::shared_ptr<TlsContext> context) { d->tls = std::move(context); }

int HttpServerFront::bind(const std::string& host, int port)
{
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICHOST;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0 || !found)
        return 0;
    std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> list(found, &::freeaddrinfo);
    Descriptor fd(::socket(found->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    // Address reuse for quick restarts, but no shared ports: a second server must fall back.
    const int yes = 1;
    ::setsockopt(fd.get(), SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (fd.get() < 0 || ::bind(fd.get(), found->ai_addr, found->ai_addrlen) != 0
        || ::listen(fd.get(), kListenBacklog) != 0)
        return 0;
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    int bound = 0;
    if (::getsockname(fd.get(), reinterpret_cast<sockaddr*>(&address), &length) != 0)
        return 0;
    addressText(address, &bound);
    d->listener.reset(fd.release());
    return bound;
}

bool HttpServerFront::start()
{
    if (d->listener.get() < 0)
        return false;
    d->poller.reset(::epoll_create1(EPOLL_CLOEXEC));
    d->wake.reset(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC));
    if (d->poller.get() < 0 || d->wake.get() < 0)
        return false;
    for (const int fd : {d->listener.get(), d->wake.get()}) {
        epoll_event event{};
        event.events = EPOLLIN;
        event.data.fd = fd;
        if (::epoll_ctl(d->poller.get(), EPOLL_CTL_ADD, fd, &event) != 0)
            return false;
    }
    d->stopping = false;
    // TLS writes go through write(2), which raises SIGPIPE when a client has gone.
    if (d->tls)
        std::signal(SIGPIPE, SIG_IGN);
    d->workers = std::make_unique<httplib::ThreadPool>(kWorkers);
    d->thread = std::thread([this] { d->run(); });
    return true;
}

void HttpServerFront::stop()
{
    d->stopping = true;
    if (d->thread.joinable()) {
        d->signal();
        d->thread.join();
    }
    d->listener.reset();
    {
        // Workers waiting on a client wake up at once.
        std::lock_guard lock(d->mutex);
        for (const int fd : d->busy)
            ::shutdown(fd, SHUT_RDWR);
    }
    if (d->workers) {
        d->workers->shutdown();
        d->workers.reset();
    }
    std::lock_guard lock(d->mutex);
    d->returned.clear();
}

}  // namespace platform
