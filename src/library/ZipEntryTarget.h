#pragma once
#include <QString>
#include <QStringList>

// Where a zip entry named name lands below folder: backslashes count as separators, "." and
// empty parts are dropped. Empty when the name is absolute, climbs with "..", or passes
// through a symbolic link that leads outside folder and the extra allowed roots.
// folderEntry tells whether the name ended with a separator.
struct ZipEntryTarget {
    QString path;
    bool folderEntry = false;
};
ZipEntryTarget zipEntryTarget(const QString& folder, const QString& name, const QStringList& allowedRoots = {});
