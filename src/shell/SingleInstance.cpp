#include "shell/SingleInstance.h"

#include "platform/Locations.h"
#include "platform/Log.h"

#include <QDeadlineTimer>
#include <QFile>
#include <cerrno>
#include <cstring>
#include <utility>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

const QString kSocketName = QStringLiteral("wavelocker.socket");
const QString kLockName = QStringLiteral("wavelocker.lock");
constexpr int kRetryConnectMs = 50;
constexpr int kReadChunk = 4096;

QString lastError() { return QString::fromLocal8Bit(std::strerror(errno)); }

// Closes the descriptor it holds.
struct Fd {
    int fd = -1;
    ~Fd()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

// A connected stream socket to path, retried while the instance is still starting to listen.
bool connectTo(const QString& path, Fd& socket, QString* error, int timeoutMs)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray encoded = QFile::encodeName(path);
    if (encoded.size() >= qsizetype(sizeof(address.sun_path))) {
        *error = QStringLiteral("the socket path %1 is too long").arg(path);
        return false;
    }
    std::memcpy(address.sun_path, encoded.constData(), encoded.size());
    const QDeadlineTimer deadline(timeoutMs);
    for (;;) {
        socket.fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (socket.fd < 0) {
            *error = lastError();
            return false;
        }
        if (::connect(socket.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
            return true;
        *error = lastError();
        ::close(std::exchange(socket.fd, -1));
        if (deadline.hasExpired())
            return false;
        ::usleep(kRetryConnectMs * 1000);
    }
}

bool sendAll(int fd, const QByteArray& bytes)
{
    qsizetype sent = 0;
    while (sent < bytes.size()) {
        const ssize_t n = ::send(fd, bytes.constData() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        sent += n;
    }
    return true;
}

}  // namespace

SingleInstance::~SingleInstance()
{
    if (mLockFd >= 0)
        ::close(mLockFd);
}

QString SingleInstance::socketPath() { return platform::Locations::runtimeDir() + QLatin1Char('/') + kSocketName; }
QString SingleInstance::lockPath() { return platform::Locations::runtimeDir() + QLatin1Char('/') + kLockName; }

bool SingleInstance::claim()
{
    if (mLockFd >= 0)
        return true;
    const int fd = ::open(QFile::encodeName(lockPath()).constData(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        // Without a lock no other instance can be known of: this one runs alone.
        platform::log(QStringLiteral("Could not open %1: %2").arg(lockPath(), lastError()));
        return true;
    }
    if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return false;
    }
    const QByteArray pid = QByteArray::number(qint64(::getpid())) + '\n';
    if (::ftruncate(fd, 0) != 0 || ::pwrite(fd, pid.constData(), pid.size(), 0) != pid.size())
        platform::log(QStringLiteral("Could not write %1").arg(lockPath()));
    mLockFd = fd;
    return true;
}

qint64 SingleInstance::ownerPid()
{
    QFile file(lockPath());
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readLine(32).trimmed().toLongLong();
}

std::optional<QList<bool>> SingleInstance::handOver(const HandOver& request, QString* error, int connectTimeoutMs)
{
    Fd socket;
    if (!connectTo(socketPath(), socket, error, connectTimeoutMs))
        return std::nullopt;
    if (!sendAll(socket.fd, HandOver::frame(request.encode()))) {
        *error = lastError();
        return std::nullopt;
    }
    QByteArray buffer;
    char chunk[kReadChunk];
    for (;;) {
        bool bad = false;
        if (const std::optional<QByteArray> body = HandOver::takeFrame(buffer, &bad)) {
            if (std::optional<QList<bool>> answers = HandOver::decodeAnswers(*body, request.urls.size()))
                return answers;
            break;
        }
        if (bad)
            break;
        // As long as the instance works on it; its end closes the socket.
        const ssize_t n = ::recv(socket.fd, chunk, sizeof chunk, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            break;
        buffer.append(chunk, n);
    }
    *error = QStringLiteral("the running Wavelocker ended before it answered");
    return std::nullopt;
}
