#include "library/TrashOrigins.h"

#include "library/Utils.h"
#include "platform/ExtendedAttributes.h"
#include "platform/FileIO.h"
#include "platform/Locations.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <climits>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TrashOrigins {
namespace {

const QString kOriginAttribute = QStringLiteral("user.wavelocker.origin");
constexpr quint32 kRecordMagic = 0x574c4c4f;  // "WLLO"
constexpr qint64 kMaxRecordBytes = 64 * 1024;

// A symbolic link can't carry user attributes: its origin is kept in a record of its own,
// named after the link's inode and holding what tells this link from a later one that gets
// the same inode: its birth time (where the file system keeps one) and its target.
struct LinkIdentity {
    quint64 device = 0;
    quint64 inode = 0;
    qint64 bornNs = 0;
    QByteArray target;
};

std::optional<LinkIdentity> linkIdentity(const QString& path)
{
    const QByteArray native = QFile::encodeName(path);
    struct statx st {};
    if (::statx(AT_FDCWD, native.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_INO | STATX_BTIME, &st) != 0
        || !S_ISLNK(st.stx_mode))
        return std::nullopt;
    LinkIdentity id;
    id.device = (quint64(st.stx_dev_major) << 32) | st.stx_dev_minor;
    id.inode = st.stx_ino;
    if (st.stx_mask & STATX_BTIME)
        id.bornNs = qint64(st.stx_btime.tv_sec) * 1000000000 + st.stx_btime.tv_nsec;
    QByteArray target(PATH_MAX, '\0');
    const ssize_t n = ::readlink(native.constData(), target.data(), size_t(target.size()));
    if (n < 0)
        return std::nullopt;
    target.truncate(n);
    id.target = target;
    return id;
}

QString recordPath(const LinkIdentity& id)
{
    return platform::Locations::appLibrary() + QStringLiteral("/TrashLinkOrigins/%1-%2").arg(id.device).arg(id.inode);
}

bool rememberLink(const QString& trashedPath, const QByteArray& kept)
{
    const std::optional<LinkIdentity> id = linkIdentity(trashedPath);
    if (!id)
        return false;
    const QString path = recordPath(*id);
    QDir().mkpath(QFileInfo(path).path());
    QByteArray data;
    {
        QDataStream out(&data, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_6_4);
        out << kRecordMagic << id->bornNs << id->target << kept << kRecordMagic;
    }
    // Whole or not at all: written beside, then renamed over the record.
    QByteArray temp = QFile::encodeName(path) + ".XXXXXX";
    const int fd = ::mkstemp(temp.data());
    if (fd < 0)
        return false;
    const bool written = platform::writeAll(fd, data.constData(), data.size()) && ::fsync(fd) == 0;
    ::close(fd);
    if (!written || ::rename(temp.constData(), QFile::encodeName(path).constData()) != 0) {
        ::unlink(temp.constData());
        return false;
    }
    return true;
}

std::optional<QByteArray> keptForLink(const QString& trashedPath)
{
    const std::optional<LinkIdentity> id = linkIdentity(trashedPath);
    if (!id)
        return std::nullopt;
    QFile file(recordPath(*id));
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxRecordBytes)
        return std::nullopt;
    QDataStream in(file.readAll());
    in.setVersion(QDataStream::Qt_6_4);
    quint32 magic = 0, end = 0;
    qint64 born = 0;
    QByteArray target, kept;
    in >> magic >> born >> target >> kept >> end;
    if (in.status() != QDataStream::Ok || magic != kRecordMagic || end != kRecordMagic || born != id->bornNs
        || target != id->target)
        return std::nullopt;
    return kept;
}

}  // namespace

bool remember(const QString& trashedPath, const QString& origin)
{
    const QString root = QDir::cleanPath(Utils::documentsURL());
    const QString clean = QDir::cleanPath(origin);
    const QString kept = clean.startsWith(root + QLatin1Char('/')) ? clean.mid(root.size() + 1) : clean;
    if (QFileInfo(trashedPath).isSymLink())
        return rememberLink(trashedPath, QFile::encodeName(kept));
    return platform::ExtendedAttributes::set(trashedPath, kOriginAttribute, QFile::encodeName(kept));
}

QString originOf(const QString& trashedPath)
{
    const std::optional<QByteArray> kept = QFileInfo(trashedPath).isSymLink()
                                               ? keptForLink(trashedPath)
                                               : platform::ExtendedAttributes::get(trashedPath, kOriginAttribute);
    if (!kept || kept->isEmpty())
        return {};
    const QString path = QFile::decodeName(*kept);
    return QDir::cleanPath(path.startsWith(QLatin1Char('/')) ? path : Utils::documentsURL() + QLatin1Char('/') + path);
}

void forget(const QString& trashedPath)
{
    if (const std::optional<LinkIdentity> id = linkIdentity(trashedPath)) {
        QFile::remove(recordPath(*id));
        return;
    }
    platform::ExtendedAttributes::remove(trashedPath, kOriginAttribute);
}

}  // namespace TrashOrigins
