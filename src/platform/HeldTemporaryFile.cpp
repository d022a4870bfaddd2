#include "platform/HeldTemporaryFile.h"

#include "platform/PartFile.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

HeldTemporaryFile::HeldTemporaryFile(QString fileTemplate) : mTemplate(std::move(fileTemplate)) {}

HeldTemporaryFile::~HeldTemporaryFile()
{
    close();
    if (mLockFd < 0)
        return;
    struct stat held {}, named {};
    // Only the file we made: one moved away or replaced under the name stays.
    if (mAutoRemove && ::fstat(mLockFd, &held) == 0 && ::lstat(QFile::encodeName(fileName()).constData(), &named) == 0
        && held.st_dev == named.st_dev && held.st_ino == named.st_ino)
        ::unlink(QFile::encodeName(fileName()).constData());
    ::close(mLockFd);
}

bool HeldTemporaryFile::open()
{
    if (mLockFd >= 0)
        return QFile::open(QIODevice::ReadWrite);
    const QString folder = QFileInfo(mTemplate).path();
    const QString pattern = QFileInfo(mTemplate).fileName();
    const qsizetype x = pattern.lastIndexOf(QLatin1String("XXXXXX"));
    QString path;
    mLockFd = PartFile::createLocked(
        folder,
        [&] {
            static const char kLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
            QString name = pattern;
            for (int i = 0; i < 6 && x >= 0; ++i)
                name[x + i] = QLatin1Char(kLetters[QRandomGenerator::global()->bounded(int(sizeof kLetters - 1))]);
            return folder + QLatin1Char('/') + name;
        },
        &path);
    if (mLockFd < 0)
        return false;
    setFileName(path);
    // QFile opens a description of its own: closing it leaves the lock with mLockFd.
    return QFile::open(QIODevice::ReadWrite);
}

}  // namespace platform
