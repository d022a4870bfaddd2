#include "shell/tool/AudioCommandSupport.h"

#include <QFileInfo>

namespace tool {

QString absolutePath(const QString& path) { return QFileInfo(path).absoluteFilePath(); }

int reportWritten(const std::optional<QString>& written)
{
    if (!written)
        return kFailed;
    printOut(*written);
    return kOk;
}

}  // namespace tool
