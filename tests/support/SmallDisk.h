#pragma once
#include <QDir>
#include <QFile>
#include <QString>
#include <sys/mount.h>

namespace testsupport {

// A small file system of its own at dir (a tmpfs of the given size, "2m"); unmounted when
// done. Mounting needs root: tests skip when mounted() is false.
class SmallDisk {
public:
    SmallDisk(const QString& dir, const char* size) : mDir(dir)
    {
        QDir().mkpath(dir);
        const QByteArray options = QByteArray("size=") + size;
        mMounted = ::mount("tmpfs", QFile::encodeName(dir).constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~SmallDisk()
    {
        if (mMounted)
            ::umount2(QFile::encodeName(mDir).constData(), MNT_DETACH);
    }
    SmallDisk(const SmallDisk&) = delete;
    SmallDisk& operator=(const SmallDisk&) = delete;
    bool mounted() const { return mMounted; }

private:
    QString mDir;
    bool mMounted = false;
};

}  // namespace testsupport
