#include "recording/IaaErrors.h"

namespace IaaErrors {

int codeForFailure(platform::lv2::Plugin::Failure failure)
{
    using Failure = platform::lv2::Plugin::Failure;
    switch (failure) {
    case Failure::None:
        return 0;
    case Failure::NotInstalled:
        return kNodeInvalidated;
    case Failure::Unsupported:
        return kUnsupportedType;
    case Failure::Refused:
        return kInvalidFormat;
    }
    return kInvalidFormat;
}

QString iaaErrorText(int code)
{
    switch (code) {
    case kDuplicateDescription:
        return QStringLiteral("Duplicate description");
    case kUnsupportedType:
        return QStringLiteral("Unsupported type");
    case kNodeInUse:
        return QStringLiteral("Node already in use");
    case kNodeInvalidated:
        return QStringLiteral("Node invalidated");
    case kNotPermitted:
        return QStringLiteral("Not permitted");
    case kTimedOut:
        return QStringLiteral("Timed out waiting for node");
    case kInvalidFormat:
        return QStringLiteral("Invalid format");
    case kRestartApp:
        return QStringLiteral("To fix it, follow the instructions below:\n\n"
                              "\u2460\u00a0save what you are working on. "
                              "\u2461\u00a0quit Wavelocker from its File menu. "
                              "\u2462\u00a0start it again from your desktop's application menu. "
                              "\u2463\u00a0then try again.");
    default:
        return QStringLiteral("Error %1").arg(code);
    }
}

}  // namespace IaaErrors
