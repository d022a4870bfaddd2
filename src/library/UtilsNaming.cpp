#include "library/Utils.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <charconv>
#include <mutex>

namespace Utils {
namespace {

std::mutex gNewFileMutex;
QString gLastNewFile;

bool taken(const QString& path)
{
    const QFileInfo info(path);
    return info.exists() || info.isSymLink();
}

// Splits "/a/b.c" into "/a/b" and "c"; a name without a point has an empty extension.
std::pair<QString, QString> splitExtension(const QString& path)
{
    const QFileInfo info(path);
    const QString suffix = info.suffix();
    if (suffix.isEmpty() || info.fileName() == QLatin1Char('.') + suffix)
        return {path, QString()};
    return {path.left(path.size() - suffix.size() - 1), suffix};
}

}  // namespace

QString uniquePath(const QString& wantedPath)
{
    if (!taken(wantedPath))
        return wantedPath;
    const auto [stem, extension] = splitExtension(wantedPath);
    for (int n = 1;; ++n) {
        const QString candidate = QStringLiteral("%1(%2).%3").arg(stem).arg(n).arg(extension);
        if (!taken(candidate))
            return candidate;
    }
}

QString uniquePathKeepingDot(const QString& wantedPath)
{
    if (!taken(wantedPath))
        return wantedPath;
    const auto [stem, extension] = splitExtension(wantedPath);
    const QString dotted = extension.isEmpty() ? QString() : QLatin1Char('.') + extension;
    for (int n = 1;; ++n) {
        const QString candidate = QStringLiteral("%1(%2)%3").arg(stem).arg(n).arg(dotted);
        if (!taken(candidate))
            return candidate;
    }
}

void rememberNewFile(const QString& path)
{
    std::lock_guard lock(gNewFileMutex);
    gLastNewFile = path;
}

QString lastNewFile()
{
    std::lock_guard lock(gNewFileMutex);
    return gLastNewFile;
}

void clearLastNewFile()
{
    std::lock_guard lock(gNewFileMutex);
    gLastNewFile.clear();
}

namespace {

// value with one decimal, rounded as printf's "%.1f" does, and the unit; to_chars spares the
// format parsing that a listing of thousands of rows would pay for every row.
void appendWithUnit(QString& text, double value, const char* unit)
{
    char digits[64];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits - 8, value, std::chars_format::fixed, 1);
    char* tail = end.ptr;
    *tail++ = ' ';
    while (*unit)
        *tail++ = *unit++;
    text += QLatin1StringView(digits, qsizetype(tail - digits));
}

}  // namespace

void appendFileSize(QString& text, uint64_t bytes)
{
    if (bytes <= 1024) {
        char digits[24];
        const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, bytes);
        text += QLatin1StringView(digits, qsizetype(end.ptr - digits));
        text += QLatin1StringView(" Bytes");
        return;
    }
    double v = double(bytes) / 1024.0;
    if (v <= 1024.0)
        return appendWithUnit(text, v, "KiB");
    v /= 1024.0;
    if (v <= 1024.0)
        return appendWithUnit(text, v, "MiB");
    v /= 1024.0;
    appendWithUnit(text, v, "GiB");
}

QString fileSizeToString(uint64_t bytes)
{
    QString text;
    appendFileSize(text, bytes);
    return text;
}

float findBpmInString(const QString& path)
{
    static const QRegularExpression pattern(QStringLiteral("([0-9]+([0-9]+)?)[-_ ]?bpm"),
                                            QRegularExpression::CaseInsensitiveOption);
    const QString name = QFileInfo(path).completeBaseName();
    const QRegularExpressionMatch match = pattern.match(name);
    if (!match.hasMatch() || match.captured(1).isEmpty())
        return 0.0f;
    return match.captured(1).toFloat();
}

}  // namespace Utils
