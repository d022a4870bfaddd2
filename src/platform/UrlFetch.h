#pragma once
#include <QByteArray>
#include <QString>
#include <QUrl>
#include <optional>

namespace platform {

// Reads a whole resource (http, https, file or qrc) and waits for it; for worker threads.
// Nothing when it could not be read, with the reason in error.
std::optional<QByteArray> fetchUrl(const QUrl& url, QString* error = nullptr, int timeoutMs = 30000);

}  // namespace platform
