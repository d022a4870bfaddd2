#pragma once
#include "platform/HttpResponse.h"

#include <QMap>
#include <QString>
#include <optional>

// The static site of the web uploader, built into the program: "/" is the page template with
// its "%name%" variables filled in; the scripts and styles beside it are served as they are.
namespace WebUploaderSite {

std::optional<platform::HttpResponse> file(const QString& requestPath, const QMap<QString, QString>& variables);

}  // namespace WebUploaderSite
