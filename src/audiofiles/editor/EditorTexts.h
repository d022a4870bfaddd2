#pragma once
#include <QList>
#include <QString>

// The small texts of the editor screen.
namespace EditorTexts {

// "%02d:%02d.%03d": minutes, seconds, milliseconds.
QString timeText(double seconds);
// "%02d:%02d.%02d": minutes, seconds, hundredths, for the play position.
QString playTimeText(double seconds);
// A fade stepper's value: "OFF" at 0, milliseconds below 1 s, seconds from 1 s up.
QString fadeText(double seconds);
// The selection's length: a time, or "%g beats" while snapping.
QString lengthText(double start, double end, bool snapping, double snapTime);
// A piece of the selection text; captions are shown dimmer than values.
struct TextRun {
    QString text;
    bool caption = false;
};
// "FROM  " start, "\nTO  " end, "\n" and the length, as captions and values.
QList<TextRun> selectionText(double start, double end, bool snapping, double snapTime);
QString plainText(const QList<TextRun>& runs);
// Percent-escapes UTF-8, the reserved characters and the blank included.
QString escapeString(const QString& text);
// The tempo written in a file name ("Loop 128bpm.wav" → 128), 120 without one.
double guessBpm(const QString& path);
// The snap time a trim starts with: from the name's tempo, else the stored tempo when set.
double initialSnapTime(const QString& path, double storedBpm);

}  // namespace EditorTexts
