#pragma once
#include "library/LibraryItem.h"

#include <QAbstractListModel>
#include <QSet>
#include <QTimer>
#include <atomic>
#include <memory>

struct FileListDiff;

// The list of one folder that a browser shows: the full sorted list, the shown (possibly
// searched) list, and which rows are still arriving. Listings run on the library update
// queue; every change of the lists happens on the main thread, and a listing never replaces
// one that was made after it. Files that appear after the first listing arrive: their rows
// stay dimmed until their sizes hold still for one settle interval.
class FileListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        PathRole = Qt::UserRole + 1,
        SubtitleRole,
        ImageNameRole,
        IsFolderRole,
        IsAudioRole,
        IsSystemRole,
        IsArrivingRole,
        IsPlayingRole,
        PreviewLabelRole,  // what the preview button of an audio row is called
        IconNamesRole,     // the icon theme's names for the row's kind, most specific first
    };

    // What an outside change brought and took away.
    struct ExternalChange {
        LibraryItemList inserted;
        LibraryItemList removed;
    };

    explicit FileListModel(QObject* parent = nullptr);
    ~FileListModel() override;

    void setFolder(const QString& folder);
    const QString& folder() const { return mFolder; }

    // Lists the folder on the update queue and replaces the lists on the main thread,
    // then emits listingFinished.
    void update();
    // Stops a listing in progress; it leaves the lists as they were.
    void cancelUpdate();
    bool isCancelled() const { return mCancel->load(); }
    // Lists the folder synchronously on the update queue and turns the difference into row
    // removals, insertions, moves and reloads (never a reset). Run it with no search active.
    // New files (not folders) begin to arrive.
    ExternalChange updateDirExternal();

    bool isLoaded() const { return mLoaded; }
    const LibraryItemList& originalFilelist() const { return mOriginal; }
    const LibraryItemList& filelist() const { return mShown; }
    const LibraryItem& itemAt(int row) const { return mShown.at(row); }
    int rowForItemWithPath(const QString& path) const;

    // Re-sorts both lists by the current mode.
    void sortFileList();
    void handleSearch(const QString& text);
    void cancelSearch();
    bool isSearching() const { return mSearching; }
    // The item count above the list; empty while a search is shown.
    QString headerText() const;

    // Arriving rows are drawn dimmed and take no input until they settle.
    void setArriving(const QString& path, bool arriving);
    bool isArriving(const QString& path) const { return mArriving.contains(path); }
    const LibraryItemList& addingFileList() const { return mAddingFileList; }
    // Re-reads the arriving files' sizes: once their total held still since the last check,
    // they settle (arrivalsSettled); otherwise it looks again after the interval.
    void checkNewFilesFinished();
    void setSettleInterval(int ms) { mCheckNewFiles.setInterval(ms); }
    // Re-reads an item's size and date from disk and redraws its row.
    void refreshItem(const QString& path);
    void setPlayingPath(const QString& path);
    const QString& playingPath() const { return mPlayingPath; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

signals:
    void listingFinished();
    void headerTextChanged();
    // The arriving files settled. When the last of them is the library's last new file,
    // openPath is it (the browser shows it; the slot is cleared); otherwise lastRow is the
    // lowest of their rows.
    void arrivalsSettled(const QString& openPath, int lastRow);

private:
    void applyListing(LibraryItemList list, quint64 generation);
    void applyExternalChange(const FileListDiff& diff, const LibraryItemList& newList, quint64 generation);
    void applyExternalListing(const LibraryItemList& newList);
    void startArriving(const LibraryItemList& inserted);
    void reloadRow(const QString& path);

    QString mFolder;
    LibraryItemList mOriginal;
    LibraryItemList mShown;
    bool mLoaded = false;
    bool mSearching = false;
    QSet<QString> mArriving;
    LibraryItemList mAddingFileList;
    qint64 mAddingTotal = -1;
    QTimer mCheckNewFiles;
    // Listings are numbered as they are asked for; one lands only if none asked later has.
    quint64 mListingsAsked = 0;
    quint64 mListingShown = 0;
    QString mPlayingPath;
    // Shared with queued listings, which may outlive this model.
    std::shared_ptr<std::atomic_bool> mCancel = std::make_shared<std::atomic_bool>(false);
};
