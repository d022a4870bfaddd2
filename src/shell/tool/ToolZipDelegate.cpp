#include "shell/tool/ToolZipDelegate.h"

#include "shell/tool/ToolSupport.h"

namespace tool {

void ToolZipDelegate::ErrorMessage(const QString& message)
{
    ++mErrors;
    printError(QStringLiteral("Could not (Un)Zip: %1").arg(message));
}

}  // namespace tool
