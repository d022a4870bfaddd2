#include "recording/UnfinishedRecording.h"

#include "audiofiles/RecFormats.h"
#include "library/Utils.h"
#include "platform/AudioFileRepair.h"
#include "platform/Locations.h"
#include "platform/Log.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace UnfinishedRecording {
namespace {

const QString kRecoveredPattern = QStringLiteral("yyyy-MM-dd HH:mm:ss");

// Whether a recorder (of this process or another) holds the take at path now.
bool inUse(const QString& path)
{
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool held = ::flock(fd, LOCK_EX | LOCK_NB) != 0;
    ::close(fd);
    return held;
}

}  // namespace

QString temporaryRecordingPath(int recFormat)
{
    return platform::Locations::tempDir() + QStringLiteral("/recording.") + Utils::fileExtensionForRecFormat(recFormat);
}

QString hasUnfinishedRecording()
{
    for (int format = 0; format < Utils::kRecFormatCount; ++format) {
        const QString path = temporaryRecordingPath(format);
        if (QFileInfo::exists(path) && !inUse(path))
            return path;
    }
    return {};
}

TakeLock::~TakeLock() { release(); }

TakeLock::Result TakeLock::acquire(const QString& path)
{
    release();
    mFd = ::open(QFile::encodeName(path).constData(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    if (mFd < 0)
        return Result::Failed;
    if (::flock(mFd, LOCK_EX | LOCK_NB) != 0) {
        release();
        return Result::InUse;
    }
    return Result::Held;
}

void TakeLock::release()
{
    if (mFd >= 0)
        ::close(mFd);
    mFd = -1;
}

Recovery recover(const QString& folder)
{
    Recovery r;
    r.found = hasUnfinishedRecording();
    if (r.found.isEmpty())
        return r;
    platform::log(QStringLiteral("Found unfinished recording: %1").arg(r.found));
    QString why;
    r.repaired = platform::AudioFileRepair::repair(r.found, &why);
    if (!r.repaired)
        platform::log(QStringLiteral("Could not repair %1: %2").arg(r.found, why));
    const QString extension = QFileInfo(r.found).suffix();
    r.name = QStringLiteral("Recovered %1.%2").arg(QDateTime::currentDateTime().toString(kRecoveredPattern), extension);
    QString error;
    const QString target = Utils::uniquePathKeepingDot(folder + QLatin1Char('/') + r.name);
    if (!Utils::moveItemNoReplace(r.found, target, &error)) {
        // Left where it is, so the next start finds it again.
        platform::log(QStringLiteral("ERROR saving the lost recording: %1").arg(error));
        return r;
    }
    r.savedAs = target;
    r.name = QFileInfo(target).fileName();
    // A fragmented M4A that could not be made whole is the one case other programs may not play.
    r.message = extension == QLatin1String("m4a") && !r.repaired
                    ? QStringLiteral("A lost recording was found and saved as '%1'. Since it's in compressed M4A format it "
                                     "can not be played, but you might find software online that can repair it.")
                          .arg(r.name)
                    : QStringLiteral("A lost recording was recovered and saved as '%1'").arg(r.name);
    return r;
}

}  // namespace UnfinishedRecording
