#pragma once
#include <QDateTime>
#include <QJsonObject>
#include <QList>
#include <QString>
#include <optional>

namespace cloud {

// One file or folder of a Dropbox listing.
struct DropboxEntry {
    QString name;
    QString pathDisplay;
    QString pathLower;
    QString contentHash;  // files only
    bool isFolder = false;
    qint64 size = 0;
    QDateTime modified;   // when the file last changed on Dropbox

    // A file or folder entry of Dropbox's metadata; nullopt for deleted entries and for
    // anything without a name and path.
    static std::optional<DropboxEntry> fromJson(const QJsonObject& json);
};

struct ListFolderResult {
    QList<DropboxEntry> entries;
    QString cursor;
    bool hasMore = false;
};

}  // namespace cloud
