#pragma once
#include <functional>
#include <memory>
#include <string>

namespace httplib {
class Stream;
}

namespace platform {

// The server's own accept loop. One thread waits on every connection and reads each request's
// header itself, within a size, line and time limit; only a complete header reaches a worker,
// so slow or idle clients hold a file descriptor, never a thread. Connections are bounded per
// client address and in total: a new one pushes out the oldest that is still only waiting.
class HttpServerFront {
public:
    // Handles one request read from stream; false or connectionClosed ends the connection.
    using Serve = std::function<bool(httplib::Stream& stream, bool closeConnection, bool& connectionClosed)>;

    static constexpr size_t kMaxHeaderBytes = 64 * 1024;
    static constexpr int kMaxHeaderLines = 200;
    static constexpr int kHeaderTimeoutSeconds = 10;  // whole header, and idle keep-alive time
    static constexpr int kBodyTimeoutSeconds = 30;    // a browser may pause between upload chunks
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

    // A handler that answered without reading the whole body marks its connection for closing.
    static void closeAfterThisResponse();

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace platform
