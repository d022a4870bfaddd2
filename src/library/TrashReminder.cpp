#include "library/TrashReminder.h"

#include "library/LibraryQueue.h"
#include "library/Utils.h"
#include "platform/Settings.h"

#include <QDir>
#include <QFileInfo>

namespace TrashReminder {

bool trashHasOldItems(const QString& trashFolder, const QDateTime& cutoff)
{
    const QFileInfoList entries =
        QDir(trashFolder).entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                                        QDir::Unsorted);
    for (const QFileInfo& entry : entries) {
        QDateTime created = entry.birthTime();
        if (!created.isValid())  // file systems without a birth time: the status change is the closest
            created = entry.metadataChangeTime();
        if (created.isValid() && created < cutoff)
            return true;
    }
    return false;
}

void checkTrash(const QDateTime& now)
{
    const QDateTime last = platform::Settings::value(QStringLiteral("LastTrashCheck")).toDateTime();
    if (last.isValid() && now <= last.addSecs(kWeekSeconds))
        return;
    platform::Settings::setValue(QStringLiteral("LastTrashCheck"), now);
    const QString trash = Utils::trashcanURL();
    const QDateTime cutoff = now.addSecs(-kWeekSeconds);
    fileListUpdateQueue().async([trash, cutoff] {
        if (!trashHasOldItems(trash, cutoff))
            return;
        platform::runOnMain([] {
            Utils::showAlert(QStringLiteral("Old Trash"),
                             QStringLiteral("You have items in the Trash that are more than 7 days old, you might "
                                            "want to delete them to free up storage space!"));
        });
    });
}

}  // namespace TrashReminder
