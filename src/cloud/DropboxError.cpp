#include "cloud/DropboxError.h"

namespace cloud {

QString DropboxError::description() const
{
    switch (kind) {
    case Kind::None: return {};
    case Kind::Network: return QStringLiteral("Could not reach Dropbox: %1").arg(summary);
    case Kind::NotLinked:
        return summary.isEmpty() ? QStringLiteral("Dropbox is not linked. Link your Dropbox account and try again.")
                                 : summary;
    case Kind::Route: return summary.isEmpty() ? tag : summary;
    case Kind::RateLimited: return QStringLiteral("Dropbox is busy (too many requests). Try again in a while.");
    case Kind::Server: return QStringLiteral("Dropbox server error %1: %2").arg(status).arg(summary);
    case Kind::BadInput: return QStringLiteral("Dropbox did not accept the request: %1").arg(summary);
    case Kind::BadResponse: return QStringLiteral("Dropbox sent an answer that could not be read: %1").arg(summary);
    case Kind::HashMismatch: return QStringLiteral("The transferred file does not match Dropbox's content hash");
    case Kind::Cancelled: return QStringLiteral("Cancelled");
    case Kind::Local: return summary;
    }
    return summary;
}

}  // namespace cloud
