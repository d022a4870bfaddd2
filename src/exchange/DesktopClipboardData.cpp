#include "exchange/DesktopClipboardData.h"

#include <QFileInfo>
#include <QMimeData>
#include <QUrl>

namespace DesktopClipboardData {
namespace {
const QString kUriList = QStringLiteral("text/uri-list");
const QString kGnomeFiles = QStringLiteral("x-special/gnome-copied-files");
const QString kKdeCut = QStringLiteral("application/x-kde-cutselection");
const QString kPlainText = QStringLiteral("text/plain");
const QString kOurs = QStringLiteral("application/x-wavelocker-items");
const QStringList kWavTypes = {QStringLiteral("audio/x-wav"), QStringLiteral("audio/wav"),
                               QStringLiteral("audio/vnd.wave"), QStringLiteral("audio/wave")};

QString localFileFromLine(const QString& line)
{
    const QString text = line.trimmed();
    if (text.isEmpty() || text.startsWith(QLatin1Char('#')))
        return {};
    if (text.startsWith(QLatin1Char('/')))
        return text;
    const QUrl url(text);
    return url.isLocalFile() ? url.toLocalFile() : QString();
}
}  // namespace

std::unique_ptr<QMimeData> mimeDataForFiles(const QStringList& paths, bool cut)
{
    QByteArray uriList;
    QByteArray gnome = cut ? "cut" : "copy";
    QStringList plain;
    for (const QString& path : paths) {
        const QByteArray uri = QUrl::fromLocalFile(path).toEncoded();
        uriList += uri + "\r\n";
        gnome += '\n' + uri;
        plain << path;
    }
    auto data = std::make_unique<QMimeData>();
    data->setData(kUriList, uriList);
    data->setData(kGnomeFiles, gnome);
    data->setData(kKdeCut, cut ? "1" : "0");
    data->setData(kPlainText, plain.join(QLatin1Char('\n')).toUtf8());
    data->setData(kOurs, QByteArray());
    return data;
}

bool isOurs(const QMimeData* data) { return data && data->hasFormat(kOurs); }

QStringList filesFromMimeData(const QMimeData* data)
{
    QStringList files;
    if (!data)
        return files;
    QStringList lines;
    if (data->hasFormat(kUriList))
        lines = QString::fromUtf8(data->data(kUriList)).split(QLatin1Char('\n'));
    else if (data->hasFormat(kGnomeFiles))
        lines = QString::fromUtf8(data->data(kGnomeFiles)).split(QLatin1Char('\n')).mid(1);
    else if (data->hasFormat(kPlainText))
        lines = QString::fromUtf8(data->data(kPlainText)).split(QLatin1Char('\n'));
    const bool fromText = !data->hasFormat(kUriList) && !data->hasFormat(kGnomeFiles);
    for (const QString& line : std::as_const(lines)) {
        if (line.trimmed().isEmpty())
            continue;
        const QString file = localFileFromLine(line);
        // Plain text may be anything: it is a list of files only when every line names one.
        if (fromText && (file.isEmpty() || !QFileInfo::exists(file)))
            return {};
        if (!file.isEmpty())
            files << file;
    }
    return files;
}

QByteArray wavBytesFromMimeData(const QMimeData* data)
{
    if (!data)
        return {};
    for (const QString& type : kWavTypes)
        if (data->hasFormat(type)) {
            const QByteArray bytes = data->data(type);
            if (bytes.startsWith("RIFF") && bytes.mid(8, 4) == "WAVE")
                return bytes;
        }
    return {};
}

bool isCut(const QMimeData* data)
{
    if (!data)
        return false;
    if (data->hasFormat(kKdeCut))
        return data->data(kKdeCut).startsWith('1');
    return data->hasFormat(kGnomeFiles) && data->data(kGnomeFiles).startsWith("cut");
}

}  // namespace DesktopClipboardData
