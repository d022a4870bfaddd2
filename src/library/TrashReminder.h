#pragma once
#include <QDateTime>

// The weekly old-trash reminder: at most one scan a week, at most one alert a scan.
namespace TrashReminder {

constexpr qint64 kWeekSeconds = 604800;

// Runs the scan on the library update queue when a week has passed; the alert is shown on
// the main thread.
void checkTrash(const QDateTime& now = QDateTime::currentDateTime());
// The scan itself: true when a batch folder was created before the cutoff.
bool trashHasOldItems(const QString& trashFolder, const QDateTime& cutoff);

}  // namespace TrashReminder
