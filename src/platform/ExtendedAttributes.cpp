#include "platform/ExtendedAttributes.h"

#include <QFile>
#include <cerrno>
#include <sys/xattr.h>

namespace platform::ExtendedAttributes {
namespace {
constexpr ssize_t kMaxValueBytes = 64 * 1024;  // the kernel's own ceiling for one value
}

bool set(const QString& path, const QString& name, const QByteArray& value)
{
    return ::lsetxattr(QFile::encodeName(path).constData(), name.toUtf8().constData(), value.constData(),
                       size_t(value.size()), 0)
           == 0;
}

std::optional<QByteArray> get(const QString& path, const QString& name)
{
    const QByteArray file = QFile::encodeName(path);
    const QByteArray key = name.toUtf8();
    // The value may change size between asking and reading: ask again then.
    for (int attempt = 0; attempt < 3; ++attempt) {
        const ssize_t size = ::lgetxattr(file.constData(), key.constData(), nullptr, 0);
        if (size < 0 || size > kMaxValueBytes)
            return std::nullopt;
        QByteArray value(size, Qt::Uninitialized);
        const ssize_t got = ::lgetxattr(file.constData(), key.constData(), value.data(), size_t(value.size()));
        if (got >= 0) {
            value.truncate(got);
            return value;
        }
        if (errno != ERANGE)
            return std::nullopt;
    }
    return std::nullopt;
}

bool remove(const QString& path, const QString& name)
{
    if (::lremovexattr(QFile::encodeName(path).constData(), name.toUtf8().constData()) == 0)
        return true;
    return errno == ENODATA;
}

}  // namespace platform::ExtendedAttributes
