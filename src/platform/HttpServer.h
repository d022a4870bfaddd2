#pragma once
#include "platform/HttpRequest.h"
#include "platform/HttpResponse.h"

#include <QList>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

namespace platform {

class TlsContext;

// The embedded HTTP server: exact routes by method and path, one fallback for GET, bodies of
// POST routes read as form fields with file parts spooled to disk (never held in memory),
// file responses streamed with range requests, gzip where the client accepts it.
class HttpServer {
public:
    using Handler = std::function<HttpResponse(HttpRequest&)>;
    // Asked before any route with the request's line and headers (no body yet): a response
    // refuses the request, nothing lets it through.
    using Gate = std::function<std::optional<HttpResponse>(const HttpRequest&)>;
    // The embedded server's levels: lower logs more (2 = start, stop and failures).
    enum LogLevel { Debug = 0, Verbose = 1, Info = 2, Warning = 3, Error = 4 };

    HttpServer();
    ~HttpServer();  // stops
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    // Routes are registered before start.
    void addRoute(const QByteArray& method, const QString& path, Handler handler);
    // A POST route that reads the body itself, piece by piece, in the order it arrives: read
    // hands each piece to its receiver (false from the receiver stops) and answers whether
    // the whole body arrived. Nothing of the body is read unless the handler calls read.
    using BodyReader = std::function<bool(const std::function<bool(const char* data, size_t length)>& receive)>;
    using RawHandler = std::function<HttpResponse(HttpRequest&, const BodyReader& read)>;
    void addRawPostRoute(const QString& path, RawHandler handler);
    void setGetFallback(Handler handler);
    void setRequestGate(Gate gate);
    // Where file parts are written while they arrive; must be on the file system they move to.
    void setUploadFolder(const QString& folder);
    // The most file bytes one request may upload; 0 (the default) has no limit.
    void setUploadQuota(qint64 bytes);
    qint64 uploadQuota() const;
    // Speaks HTTPS with this context from the next start (null: plain HTTP).
    void setTls(std::shared_ptr<TlsContext> context);
    bool usesTls() const;
    // How long a served request may wait on a client that moves too few bytes.
    void setTransferWindow(int seconds);
    void setLogLevel(int level);
    int logLevel() const;

    // Binds host to the first port of the list that the system grants (0: any free port)
    // and serves on a thread of its own.
    bool start(const QString& host, const QList<int>& ports);
    void stop();
    bool isRunning() const;
    int port() const;  // 0 when stopped

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace platform
