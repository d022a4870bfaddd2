#pragma once
#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QString>
#include <sys/mount.h>

namespace testsupport {

// A tmpfs of the given size ("2m") on dir while alive, so that a disk really fills up.
// Mounting needs CAP_SYS_ADMIN; tests skip when mounted() is false.
class SmallMount {
public:
    SmallMount(const QString& dir, const char* size) : mDir(QFile::encodeName(dir))
    {
        QDir().mkpath(dir);
        const QByteArray options = QByteArray("size=") + size + ",mode=0755";
        mMounted = ::mount("tmpfs", mDir.constData(), "tmpfs", 0, options.constData()) == 0;
    }
    ~SmallMount()
    {
        if (mMounted)
            ::umount2(mDir.constData(), MNT_DETACH);
    }
    SmallMount(const SmallMount&) = delete;
    SmallMount& operator=(const SmallMount&) = delete;
    bool mounted() const { return mMounted; }

private:
    QByteArray mDir;
    bool mMounted = false;
};

}  // namespace testsupport
