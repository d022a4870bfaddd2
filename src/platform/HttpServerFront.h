#pragma once
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace httplib {
class Stream;
}

namespace platform {

class TlsContext;

// The server's own accept loop. One thread waits on every connection and reads each request's
// header itself, within a size, line and time limit; only a complete header reaches a worker,
// so slow or idle clients hold a file descriptor, never a thread. Connections are bounded per
// client address and in total: a new one pushes out the oldest that is still only waiting.
class HttpServerFront {
public:
    // Handles one request read from stream, whose header (head, up to its empty line) has
    // arrived whole and is still unread there; false or connectionClosed ends the connection.
    using Serve = std::function<bool(httplib::Stream& stream, std::string_view head, bool closeConnection,
                                     bool& connectionClosed)>;

    static constexpr size_t kMaxHeaderBytes = 64 * 1024;
    static constexpr int kMaxHeaderLines = 200;
    static constexpr int kHeaderTimeoutSeconds = 10;  // whole header, and idle keep-alive time
    // While a worker serves a request, the client must move at least kMinTransferBytes (in
    // either direction) within every kTransferWindowSeconds spent waiting on it: a browser may
    // pause between upload chunks, but a body that trickles in does not hold a worker for ever.
    static constexpr int kTransferWindowSeconds = 30;
    static constexpr int kMinTransferBytes = 16 * 1024;
    static constexpr int kMaxConnectionsPerClient = 256;
    static constexpr int kMaxConnections = 768;
    static constexpr int kWorkers = 64;
    static constexpr int kKeepAliveRequests = 1000;

    explicit HttpServerFront(Serve serve);
    ~HttpServerFront();  // stops
    HttpServerFront(const HttpServerFront&) = delete;
    HttpServerFront& operator=(const HttpServerFront&) = delete;

    // The port bound on host (port 0: any free one), or 0 when the system refused.
    int bind(const std::string& host, int port);
    bool start();
    void stop();

    // Runs on the worker after each answer has left: work that need not delay the answer.
    // Set before start.
    void setAfterAnswer(std::function<void()> afterAnswer);

    // A handler that answered without reading the whole body marks its connection for closing.
    static void closeAfterThisResponse();
    // Shorter windows, for tests of slow clients.
    void setTransferWindow(int seconds);
    // Speaks TLS on every connection (set before start); null for plain HTTP.
    void setTls(std::shared_ptr<TlsContext> context);

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace platform
