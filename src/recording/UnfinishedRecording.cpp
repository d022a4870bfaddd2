#include "recording/UnfinishedRecording.h"

#include "audiofiles/RecFormats.h"
#include "platform/Locations.h"

#include <QFileInfo>

namespace UnfinishedRecording {

QString temporaryRecordingPath(int recFormat)
{
    return platform::Locations::tempDir() + QStringLiteral("/recording.") + Utils::fileExtensionForRecFormat(recFormat);
}

QString hasUnfinishedRecording()
{
    for (int format = 0; format < Utils::kRecFormatCount; ++format) {
        const QString path = temporaryRecordingPath(format);
        if (QFileInfo::exists(path))
            return path;
    }
    return {};
}

}  // namespace UnfinishedRecording
