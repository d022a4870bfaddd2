#include "audiofiles/editor/EditorTexts.h"

#include "library/Utils.h"

#include <QFileInfo>
#include <QRegularExpression>
#include <QUrl>
#include <cmath>

namespace EditorTexts {
namespace {
constexpr double kDefaultBpm = 120;

struct Clock {
    int minutes;
    int seconds;
    double fraction;
};

Clock clock(double seconds)
{
    const double clamped = std::max(0.0, seconds);
    const auto whole = int(clamped);
    return {whole / 60, whole % 60, clamped - whole};
}
}  // namespace

QString timeText(double seconds)
{
    const Clock c = clock(seconds);
    return QString::asprintf("%02d:%02d.%03d", c.minutes, c.seconds, int(c.fraction * 1000));
}

QString playTimeText(double seconds)
{
    const Clock c = clock(seconds);
    return QString::asprintf("%02d:%02d.%02d", c.minutes, c.seconds, int(c.fraction * 100));
}

QString fadeText(double seconds)
{
    if (seconds == 0)
        return QStringLiteral("OFF");
    if (seconds < 1)
        return QString::asprintf("%.0f ms", seconds * 1000);
    return QString::asprintf("%.3f s", seconds);
}

QString lengthText(double start, double end, bool snapping, double snapTime)
{
    if (snapping && snapTime > 0)
        return QString::asprintf("%g beats", (end - start) / snapTime);
    return timeText(end - start);
}

QList<TextRun> selectionText(double start, double end, bool snapping, double snapTime)
{
    return {{QStringLiteral("FROM  "), true},
            {timeText(start), false},
            {QStringLiteral("\nTO  "), true},
            {timeText(end), false},
            {QStringLiteral("\n"), true},
            {lengthText(start, end, snapping, snapTime), false}};
}

QString plainText(const QList<TextRun>& runs)
{
    QString text;
    for (const TextRun& run : runs)
        text += run.text;
    return text;
}

QString escapeString(const QString& text)
{
    // Everything but letters, digits and "-._~" is escaped, which covers the reserved set.
    return QString::fromLatin1(QUrl::toPercentEncoding(text));
}

double guessBpm(const QString& path)
{
    static const QRegularExpression pattern(QStringLiteral("([0-9]+)[-_ ]?bpm"),
                                            QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = pattern.match(QFileInfo(path).completeBaseName());
    return match.hasMatch() ? match.captured(1).toInt() : kDefaultBpm;
}

double initialSnapTime(const QString& path, double storedBpm)
{
    const double guessed = guessBpm(path);
    double snapTime = guessed > 0 ? 60.0 / guessed : 60.0 / kDefaultBpm;
    double tempo = Utils::findBpmInString(QFileInfo(path).fileName());
    if (tempo == 0)
        tempo = storedBpm;
    if (tempo > 0)
        snapTime = 60.0 / tempo;
    return snapTime;
}

}  // namespace EditorTexts
