#include "platform/HttpServer.h"

#include "platform/HttpRequestHead.h"
#include "platform/HttpServerFront.h"
#include "platform/HttpUploadSpool.h"
#include "platform/Log.h"
#include "platform/MultipartReader.h"
#include "platform/SpareFiles.h"

#include <QFile>
#include <QUrl>
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <limits>
#include <map>
#include <string_view>
#include <cerrno>
#include <fcntl.h>
#include <httplib.h>
#include <memory>
#include <mutex>
#include <optional>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

namespace platform {
namespace {

constexpr size_t kFileChunkBytes = 256 * 1024;
// Bodies read by our handlers come off the connection in pieces this large.
constexpr size_t kBodyChunkBytes = 256 * 1024;

// The connection of the request this thread serves: bodies of known length are read from it
// directly, in large pieces, instead of through the parser's few kilobytes at a time.
thread_local httplib::Stream* tStream = nullptr;

// The body's length when the client said it (and sends it as it is, not in chunks).
std::optional<uint64_t> bodyLength(const httplib::Request& req)
{
    if (!tStream || req.has_header("Transfer-Encoding") || !req.has_header("Content-Length"))
        return std::nullopt;
    const std::string text = req.get_header_value("Content-Length");
    char* end = nullptr;
    errno = 0;
    const unsigned long long length = std::strtoull(text.c_str(), &end, 10);
    if (text.empty() || *end != 0 || errno != 0 || text[0] == '-')
        return std::nullopt;
    return uint64_t(length);
}

// Reads exactly length bytes of body from the connection, handing them on piece by piece.
bool readBody(uint64_t length, const std::function<bool(const char*, size_t)>& receive)
{
    const auto buffer = std::make_unique_for_overwrite<char[]>(size_t(std::min<uint64_t>(length, kBodyChunkBytes)));
    while (length > 0) {
        const ssize_t n = tStream->read(buffer.get(), size_t(std::min<uint64_t>(length, kBodyChunkBytes)));
        if (n <= 0)
            return false;
        length -= uint64_t(n);
        if (!receive(buffer.get(), size_t(n)))
            return false;
    }
    return true;
}

const std::string kTextType = "text/plain; charset=utf-8";

// The request parser and router; connections come from our own front, request by request.
class RoutedServer : public httplib::Server {
public:
    // Streamed responses stop early when the parser thinks its own listening socket is gone;
    // it has none, so it is given a number that is never a real descriptor.
    RoutedServer() { svr_sock_ = std::numeric_limits<int>::max(); }

    bool serve(httplib::Stream& stream, bool closeConnection, bool& connectionClosed)
    {
        return process_request(stream, closeConnection, connectionClosed, nullptr);
    }
};

struct Route {
    QByteArray method;
    QString path;
    HttpServer::Handler handler;
    HttpServer::RawHandler rawHandler;
};

// Owns a file descriptor shared by the provider callbacks of one streamed response.
class FileHandle {
public:
    explicit FileHandle(int fd) : mFd(fd) {}
    ~FileHandle() { if (mFd >= 0) ::close(mFd); }
    FileHandle(const FileHandle&) = delete;
    FileHandle& operator=(const FileHandle&) = delete;
    int fd() const { return mFd; }

private:
    int mFd;
};

QString fromStd(const std::string& s) { return QString::fromUtf8(s.data(), qsizetype(s.size())); }
std::string toStd(const QByteArray& b) { return std::string(b.constData(), size_t(b.size())); }

std::string exactPattern(const QString& path)
{
    std::string pattern;
    for (const char c : path.toStdString()) {
        if (std::strchr(".^$|()[]{}*+?\\", c))
            pattern += '\\';
        pattern += c;
    }
    return pattern;
}

HttpRequest toRequest(const httplib::Request& req)
{
    HttpRequest r;
    r.method = QByteArray::fromStdString(req.method);
    r.remoteAddress = fromStd(req.remote_addr);
    r.path = fromStd(req.path);
    for (const auto& [key, value] : req.params) {
        const QString k = fromStd(key);
        if (!r.query.contains(k))  // the first of repeated arguments counts
            r.query.insert(k, fromStd(value));
    }
    for (const auto& [key, value] : req.headers) {
        const QByteArray k = QByteArray::fromStdString(key).toLower();
        const QByteArray v = QByteArray::fromStdString(value);
        r.headers.insert(k, r.headers.contains(k) ? r.headers.value(k) + ", " + v : v);
    }
    return r;
}

// The request the gate let through, as it saw it, for the route to take instead of
// converting the line and headers again; this thread's current request only.
thread_local std::optional<HttpRequest> tChecked;

HttpRequest takeRequest(const httplib::Request& req)
{
    if (!tChecked)
        return toRequest(req);
    HttpRequest request = std::move(*tChecked);
    tChecked.reset();
    return request;
}

bool compressible(const QByteArray& type)
{
    return type.startsWith("text/") || type.contains("json") || type.contains("javascript") || type.contains("xml");
}

bool acceptsEncoding(const httplib::Request& req, const char* encoding)
{
    return req.get_header_value("Accept-Encoding").find(encoding) != std::string::npos;
}

// The HTTP library compresses with brotli at its slowest setting whenever a client accepts it
// (browsers over HTTPS do): seconds for a large listing. What we hold in memory goes out gzipped
// by us instead, which leaves the library nothing to compress.
std::optional<std::string> gzipped(const QByteArray& body)
{
    z_stream z{};
    if (deflateInit2(&z, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return std::nullopt;
    std::string out(deflateBound(&z, uLong(body.size())), '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(body.constData()));
    z.avail_in = uInt(body.size());
    z.next_out = reinterpret_cast<Bytef*>(out.data());
    z.avail_out = uInt(out.size());
    const bool done = deflate(&z, Z_FINISH) == Z_STREAM_END;
    out.resize(z.total_out);
    deflateEnd(&z);
    return done ? std::optional<std::string>(std::move(out)) : std::nullopt;
}

std::string contentDisposition(const QString& name)
{
    QByteArray ascii;
    for (const QChar c : name)
        ascii += (c.unicode() >= 0x20 && c.unicode() < 0x7f && c != QLatin1Char('"') && c != QLatin1Char('\\'))
                     ? char(c.unicode()) : '_';
    return "attachment; filename=\"" + ascii.toStdString() + "\"; filename*=UTF-8''"
           + QUrl::toPercentEncoding(name).toStdString();
}

// Ranges the client asked for that cannot be served (start past the end, empty suffix).
bool rangesSatisfiable(const httplib::Ranges& ranges, off_t size)
{
    for (const auto& [first, last] : ranges) {
        if (first < 0 ? last <= 0 : first >= size || (last >= 0 && last < first))
            return false;
    }
    return true;
}

void sendFile(const httplib::Request& req, httplib::Response& res, const HttpResponse& r)
{
    // Without O_NONBLOCK a FIFO in the library would hold this worker in open() until a writer came.
    const int fd = ::open(QFile::encodeName(r.filePath).constData(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat st {};
    if (fd < 0 || ::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (fd >= 0)
            ::close(fd);
        res.status = 404;
        res.set_content("Not found", kTextType);
        return;
    }
    auto file = std::make_shared<FileHandle>(fd);
    const std::string type = toStd(r.contentType);
    if (!r.attachmentName.isEmpty())
        res.set_header("Content-Disposition", contentDisposition(r.attachmentName));
    res.set_header("Accept-Ranges", "bytes");
    if (!req.ranges.empty() && !rangesSatisfiable(req.ranges, st.st_size)) {
        res.status = 416;
        res.set_header("Content-Range", "bytes */" + std::to_string(st.st_size));
        return;
    }
    res.status = req.ranges.empty() ? 200 : 206;
    if (st.st_size == 0) {
        res.set_content(std::string(), type);
        return;
    }
    // (Not where the library would choose brotli: see gzipped().)
    const bool gzip = req.ranges.empty() && compressible(r.contentType) && acceptsEncoding(req, "gzip")
                      && !acceptsEncoding(req, "br");
    // One buffer for the whole response, never cleared: each piece is read over the last.
    auto buffer = std::shared_ptr<char[]>(std::make_unique_for_overwrite<char[]>(kFileChunkBytes));
    auto readInto = [file, buffer](size_t offset, size_t length, httplib::DataSink& sink) {
        const ssize_t n = ::pread(file->fd(), buffer.get(), std::min(length, kFileChunkBytes), off_t(offset));
        return n > 0 && sink.write(buffer.get(), size_t(n));
    };
    if (gzip) {
        // Only a stream of unknown length is compressed on the way out.
        const size_t size = size_t(st.st_size);
        res.set_chunked_content_provider(type, [readInto, size](size_t offset, httplib::DataSink& sink) {
            if (offset >= size) {
                sink.done();
                return true;
            }
            return readInto(offset, size - offset, sink);
        });
    } else {
        res.set_content_provider(size_t(st.st_size), type, readInto);
    }
}

void sendProduced(httplib::Response& res, const HttpResponse& r)
{
    res.status = r.status;
    if (!r.attachmentName.isEmpty())
        res.set_header("Content-Disposition", contentDisposition(r.attachmentName));
    const HttpResponse::Producer producer = r.producer;
    res.set_chunked_content_provider(toStd(r.contentType), [producer](size_t, httplib::DataSink& sink) {
        const bool complete = producer([&sink](const char* data, size_t length) { return sink.write(data, length); });
        if (complete)
            sink.done();
        return complete;
    });
}

void apply(const httplib::Request& req, httplib::Response& res, const HttpResponse& r)
{
    for (const auto& [name, value] : r.headers)
        res.set_header(toStd(name), toStd(value));
    if (!r.filePath.isEmpty()) {
        sendFile(req, res, r);
        return;
    }
    if (r.producer) {
        sendProduced(res, r);
        return;
    }
    res.status = r.status;
    if (req.ranges.empty() && compressible(r.contentType) && acceptsEncoding(req, "gzip")) {
        if (std::optional<std::string> packed = gzipped(r.body)) {
            res.set_header("Content-Encoding", "gzip");
            const auto body = std::make_shared<const std::string>(std::move(*packed));
            res.set_content_provider(body->size(), toStd(r.contentType), [body](size_t offset, size_t length, httplib::DataSink& sink) {
                return sink.write(body->data() + offset, length);
            });
            return;
        }
    }
    res.set_content(toStd(r.body), toStd(r.contentType));
}

void removeTemporaryFiles(const HttpRequest& request)
{
    for (const UploadedFile& f : request.files)
        if (!f.temporaryPath.isEmpty())
            ::unlink(QFile::encodeName(f.temporaryPath).constData());
}

const char* reasonPhrase(int status)
{
    switch (status) {
    case 200: return "OK";
    case 201: return "Created";
    case 204: return "No Content";
    case 303: return "See Other";
    case 400: return "Bad Request";
    case 401: return "Unauthorized";
    case 403: return "Forbidden";
    case 404: return "Not Found";
    case 409: return "Conflict";
    case 411: return "Length Required";
    case 413: return "Payload Too Large";
    case 416: return "Range Not Satisfiable";
    case 429: return "Too Many Requests";
    case 500: return "Internal Server Error";
    case 503: return "Service Unavailable";
    default: return status < 400 ? "OK" : "Error";
    }
}

// An answer held in memory, written whole; the front sends it in one piece with what follows.
bool writeAnswer(httplib::Stream& stream, const HttpResponse& r, bool close)
{
    std::string head = "HTTP/1.1 " + std::to_string(r.status) + ' ' + reasonPhrase(r.status) + "\r\n";
    head.reserve(head.size() + 160);
    if (!r.contentType.isEmpty())
        head.append("Content-Type: ").append(r.contentType.constData(), size_t(r.contentType.size())).append("\r\n");
    head.append("Content-Length: ").append(std::to_string(r.body.size())).append("\r\n");
    for (const auto& [name, value] : r.headers)
        head.append(name.constData(), size_t(name.size())).append(": ").append(value.constData(), size_t(value.size())).append("\r\n");
    if (close)
        head.append("Connection: close\r\n");
    head.append("\r\n");
    return stream.write(head.data(), head.size()) == ssize_t(head.size())
           && (r.body.isEmpty() || stream.write(r.body.constData(), size_t(r.body.size())) == ssize_t(r.body.size()));
}

// Takes the header's bytes off the stream: the body follows.
bool skip(httplib::Stream& stream, size_t bytes)
{
    char scratch[4096];
    while (bytes > 0) {
        const ssize_t n = stream.read(scratch, std::min(bytes, sizeof scratch));
        if (n <= 0)
            return false;
        bytes -= size_t(n);
    }
    return true;
}

}  // namespace

struct HttpServer::Impl {
    std::vector<Route> routes;
    Handler fallback;
    Gate gate;
    QString uploadFolder;
    std::atomic<qint64> uploadQuota{0};
    std::atomic<int> logLevel{Info};
    std::shared_ptr<TlsContext> tls;
    int transferWindow = HttpServerFront::kTransferWindowSeconds;
    std::unique_ptr<SpareFiles> spares;  // outlives the front's workers
    std::unique_ptr<RoutedServer> server;
    std::unique_ptr<HttpServerFront> front;
    // The form routes of POST by path, for the short path; filled before start.
    std::map<std::string, Handler, std::less<>> formRoutes;
    std::atomic<int> port{0};

    void handle(const Handler& handler, const httplib::Request& req, httplib::Response& res)
    {
        HttpRequest request = takeRequest(req);
        apply(req, res, handler(request));
    }

    static QString tooLarge(qint64 quota)
    {
        return QStringLiteral("Upload larger than the allowed %1 bytes").arg(quota);
    }

    // An answer to a body that is not fully read: the connection cannot carry another request.
    HttpResponse refuseBody(const HttpRequest& request, int status, const QString& text, bool* close) const
    {
        HttpServerFront::closeAfterThisResponse();
        *close = true;
        if (logLevel <= Warning)
            log(QStringLiteral("Web server: %1 %2 body refused or cut off: %3")
                    .arg(QString::fromLatin1(request.method), request.path, text));
        return HttpResponse::text(status, text);
    }

    // A POST body as it comes: of a known length (read straight from the connection), or
    // through the HTTP library's reader.
    struct PostBody {
        std::optional<uint64_t> declaredLength;  // what Content-Length says, framing or not
        std::optional<uint64_t> length;          // when the body is framed by it
        std::string contentType;
        const httplib::ContentReader* reader = nullptr;
    };

    // Reads the body into a spool, then lets handler answer. close: the connection must end
    // after the answer.
    HttpResponse answerPost(const Handler& handler, HttpRequest request, const PostBody& body, bool* close)
    {
        const qint64 quota = uploadQuota;
        // Multipart framing and fields come on top of the files.
        if (quota > 0 && body.declaredLength && qint64(*body.declaredLength) > quota + HttpUploadSpool::kMaxFieldBytes * 2)
            return refuseBody(request, 413, tooLarge(quota), close);
        HttpUploadSpool spool(uploadFolder, quota, spares.get());
        bool withinLimits = true;
        bool complete = false;
        const bool multipart = body.contentType.rfind("multipart/form-data", 0) == 0;
        const std::string boundary = multipart ? MultipartReader::boundaryOf(body.contentType) : std::string();
        if (multipart && body.length && !boundary.empty()) {
            MultipartReader reader(boundary, *body.length, [](char* data, size_t size) { return tStream->read(data, size); });
            complete = reader.run(
                           [&](const MultipartReader::PartHeader& part) {
                               withinLimits = spool.beginPart(fromStd(part.name), fromStd(part.filename),
                                                              fromStd(part.contentType));
                               return withinLimits;
                           },
                           [&](const char* data, size_t size) { return withinLimits = spool.write(data, size); })
                       == MultipartReader::Result::Complete;
        } else if (multipart && body.reader) {
            complete = (*body.reader)(
                [&](const httplib::MultipartFormData& part) {
                    withinLimits = spool.beginPart(fromStd(part.name), fromStd(part.filename),
                                                   fromStd(part.content_type));
                    return withinLimits;
                },
                [&](const char* data, size_t length) { return withinLimits = spool.write(data, length); });
        } else {
            const bool urlEncoded = body.contentType.find("application/x-www-form-urlencoded") != std::string::npos;
            const auto receive = [&](const char* data, size_t length) {
                return withinLimits = !urlEncoded || spool.writeUrlEncoded(data, length);
            };
            if (body.length)
                complete = readBody(*body.length, receive);
            else if (body.reader)
                complete = (*body.reader)(receive);
        }
        if (!withinLimits || !complete) {
            if (spool.overQuota())
                return refuseBody(request, 413, tooLarge(quota), close);
            return refuseBody(request, withinLimits ? 400 : 413,
                              withinLimits ? QStringLiteral("Incomplete request body") : QStringLiteral("Request fields too large"),
                              close);
        }
        spool.finish(request);
        HttpResponse response = handler(request);
        removeTemporaryFiles(request);
        if (!response.filePath.isEmpty() || response.producer) {
            log(QStringLiteral("Web server: %1 answered with a file or a stream, which only GET routes may").arg(request.path));
            return HttpResponse::text(500, QStringLiteral("Internal server error"));
        }
        return response;
    }

    void handlePost(const Handler& handler, const httplib::Request& req, httplib::Response& res,
                    const httplib::ContentReader& reader)
    {
        PostBody body;
        if (req.has_header("Content-Length"))
            body.declaredLength = std::strtoull(req.get_header_value("Content-Length").c_str(), nullptr, 10);
        body.length = bodyLength(req);
        body.contentType = req.get_header_value("Content-Type");
        body.reader = &reader;
        bool close = false;
        const HttpResponse response = answerPost(handler, takeRequest(req), body, &close);
        if (close)
            res.set_header("Connection", "close");
        apply(req, res, response);
    }

    // The short path for the requests that come most often one after another (uploads, moves,
    // deletions): a POST to a form route, framed by Content-Length, parsed from the header the
    // front holds and answered here, without the HTTP library's general parsing and routing.
    // Nothing when the request is anything else, or anything unusual: then nothing of it has
    // been read, and the library serves it as before.
    std::optional<bool> serveDirect(httplib::Stream& stream, std::string_view head, bool closeConnection,
                                    bool& connectionClosed)
    {
        if (!head.starts_with("POST "))
            return std::nullopt;
        const std::optional<HttpRequestHead> parsed = HttpRequestHead::parse(head);
        if (!parsed || !parsed->contentLength || parsed->transferEncoding || parsed->expectsContinue
            || !parsed->query.empty() || parsed->path.find('%') != std::string_view::npos)
            return std::nullopt;
        const auto route = formRoutes.find(parsed->path);
        if (route == formRoutes.end())
            return std::nullopt;
        PostBody body;
        body.declaredLength = parsed->contentLength;
        body.length = parsed->contentLength;
        HttpRequest request;
        request.method = QByteArrayLiteral("POST");
        request.path = QString::fromUtf8(parsed->path.data(), qsizetype(parsed->path.size()));
        for (const auto& [name, value] : parsed->headers) {
            const QByteArray key = QByteArray(name.data(), qsizetype(name.size())).toLower();
            const QByteArray v(value.data(), qsizetype(value.size()));
            const auto known = request.headers.find(key);
            if (known == request.headers.end())
                request.headers.insert(key, v);
            else
                *known += ", " + v;
            if (key == "content-type" && body.contentType.empty())
                body.contentType = std::string(value);
        }
        std::string ip;
        int port = 0;
        stream.get_remote_ip_and_port(ip, port);
        request.remoteAddress = fromStd(ip);
        bool close = closeConnection || !parsed->keepAlive;
        if (!skip(stream, head.size()))
            return false;

        HttpResponse response;
        std::optional<HttpResponse> refusal = gate ? gate(request) : std::nullopt;
        if (refusal) {
            // A refused body is never read: the connection cannot carry another request.
            HttpServerFront::closeAfterThisResponse();
            close = true;
            response = std::move(*refusal);
        } else {
            response = answerPost(route->second, std::move(request), body, &close);
        }
        if (logLevel <= Verbose)
            log(QStringLiteral("Web server: POST %1 %2").arg(QString::fromUtf8(parsed->path.data(), qsizetype(parsed->path.size())))
                    .arg(response.status));
        connectionClosed = close;
        return writeAnswer(stream, response, close);
    }

    void handleRawPost(const RawHandler& handler, const httplib::Request& req, httplib::Response& res,
                       const httplib::ContentReader& reader)
    {
        HttpRequest request = takeRequest(req);
        bool read = false;
        bool complete = false;
        const BodyReader body = [&](const std::function<bool(const char*, size_t)>& receive) {
            if (read)
                return false;
            read = true;
            if (const std::optional<uint64_t> length = bodyLength(req))
                return complete = readBody(*length, receive);
            return complete = reader([&](const char* data, size_t length) { return receive(data, length); });
        };
        const HttpResponse response = handler(request, body);
        if (!complete) {
            // The body is not fully read: the connection cannot carry another request.
            res.set_header("Connection", "close");
            HttpServerFront::closeAfterThisResponse();
        }
        apply(req, res, response);
    }

    void install(httplib::Server& s)
    {
        formRoutes.clear();
        for (const Route& route : routes) {
            const Handler handler = route.handler;
            const std::string pattern = exactPattern(route.path);
            if (route.rawHandler) {
                const RawHandler raw = route.rawHandler;
                s.Post(pattern, [this, raw](const httplib::Request& req, httplib::Response& res,
                                            const httplib::ContentReader& reader) {
                    handleRawPost(raw, req, res, reader);
                });
            } else if (route.method == "POST") {
                formRoutes.emplace(route.path.toStdString(), handler);
                s.Post(pattern, [this, handler](const httplib::Request& req, httplib::Response& res,
                                                const httplib::ContentReader& reader) {
                    handlePost(handler, req, res, reader);
                });
            } else {
                s.Get(pattern, [this, handler](const httplib::Request& req, httplib::Response& res) {
                    handle(handler, req, res);
                });
            }
        }
        if (fallback) {
            s.Get(".*", [this](const httplib::Request& req, httplib::Response& res) { handle(fallback, req, res); });
        }
        s.set_logger([this](const httplib::Request& req, const httplib::Response& res) {
            if (logLevel <= Verbose)
                log(QStringLiteral("Web server: %1 %2 %3").arg(fromStd(req.method), fromStd(req.path)).arg(res.status));
        });
        if (gate) {
            s.set_pre_routing_handler([this](const httplib::Request& req, httplib::Response& res) {
                HttpRequest checked = toRequest(req);
                const std::optional<HttpResponse> refusal = gate(checked);
                if (!refusal) {
                    tChecked = std::move(checked);
                    return httplib::Server::HandlerResponse::Unhandled;
                }
                // A refused body is never read: the connection cannot carry another request.
                res.set_header("Connection", "close");
                HttpServerFront::closeAfterThisResponse();
                apply(req, res, *refusal);
                return httplib::Server::HandlerResponse::Handled;
            });
        }
    }
};

HttpServer::HttpServer() : d(std::make_unique<Impl>()) {}

HttpServer::~HttpServer() { stop(); }

void HttpServer::addRoute(const QByteArray& method, const QString& path, Handler handler)
{
    d->routes.push_back({method.toUpper(), path, std::move(handler), {}});
}

void HttpServer::addRawPostRoute(const QString& path, RawHandler handler)
{
    d->routes.push_back({QByteArrayLiteral("POST"), path, {}, std::move(handler)});
}

void HttpServer::setTls(std::shared_ptr<TlsContext> context) { d->tls = std::move(context); }
bool HttpServer::usesTls() const { return d->tls != nullptr; }
void HttpServer::setTransferWindow(int seconds) { d->transferWindow = seconds; }

void HttpServer::setGetFallback(Handler handler) { d->fallback = std::move(handler); }
void HttpServer::setUploadQuota(qint64 bytes) { d->uploadQuota = std::max<qint64>(0, bytes); }
qint64 HttpServer::uploadQuota() const { return d->uploadQuota; }
void HttpServer::setRequestGate(Gate gate) { d->gate = std::move(gate); }
void HttpServer::setUploadFolder(const QString& folder) { d->uploadFolder = folder; }
void HttpServer::setLogLevel(int level) { d->logLevel = level; }
int HttpServer::logLevel() const { return d->logLevel; }

bool HttpServer::start(const QString& host, const QList<int>& ports)
{
    if (isRunning())
        return true;
    auto server = std::make_unique<RoutedServer>();
    d->install(*server);
    RoutedServer* raw = server.get();
    Impl* impl = d.get();
    auto front = std::make_unique<HttpServerFront>([impl, raw](httplib::Stream& stream, std::string_view head, bool close,
                                                               bool& closed) {
        tStream = &stream;
        tChecked.reset();
        std::optional<bool> served = impl->serveDirect(stream, head, close, closed);
        if (!served)
            served = raw->serve(stream, close, closed);
        tStream = nullptr;
        tChecked.reset();
        return *served;
    });
    front->setTls(d->tls);
    front->setTransferWindow(d->transferWindow);
    const std::string address = host.toStdString();
    int bound = 0;
    for (const int port : ports) {
        bound = front->bind(address, port);
        if (bound > 0)
            break;
        if (d->logLevel <= Info)
            log(QStringLiteral("Web server: could not listen on port %1").arg(port));
    }
    if (!d->uploadFolder.isEmpty()) {
        d->spares = std::make_unique<SpareFiles>(d->uploadFolder);
        front->setAfterAnswer([spares = d->spares.get()] { spares->refill(); });
    }
    if (bound <= 0 || !front->start()) {
        d->spares.reset();
        return false;
    }
    d->server = std::move(server);
    d->front = std::move(front);
    d->port = bound;
    return true;
}

void HttpServer::stop()
{
    if (!d->front)
        return;
    d->front->stop();
    d->front.reset();
    d->server.reset();
    d->spares.reset();
    d->port = 0;
}

bool HttpServer::isRunning() const { return d->front != nullptr; }
int HttpServer::port() const { return d->port; }

}  // namespace platform
