#pragma once
#include <QString>
#include <functional>
#include <memory>

// A file written beside its final place: a hidden, uniquely named file in the target's
// folder (so it arrives by one rename on the same file system), locked for as long as this
// object lives so that a clean-up in another process never takes it, and removed unless
// committed. Names start with ".tempfile-", which nothing else in a library uses.
class PartFile {
public:
    // A new empty part file in folder; extension (without the dot) lets writers that go by
    // the name see the right one. Null, logged, when it can't be created.
    static std::unique_ptr<PartFile> create(const QString& folder, const QString& extension = {});
    ~PartFile();
    PartFile(const PartFile&) = delete;
    PartFile& operator=(const PartFile&) = delete;

    const QString& path() const { return mPath; }
    int fd() const { return mFd; }
    // The part's bytes reach the disk, then it takes target's name: over an existing target
    // in one step when replace is set (the old version stays until then), else only when
    // the name is free. False, logged, when it did not arrive; the part is then removed.
    bool commit(const QString& target, bool replace);

    // Creates a file in folder under the first free name nextName() gives, already locked when
    // its name appears, so no clean-up can see it unlocked. The descriptor, or -1 (logged).
    static int createLocked(const QString& folder, const std::function<QString()>& nextName, QString* path);

    // An open file with no name at all in folder's file system: it is gone with its last
    // descriptor, so a kill leaves nothing behind. -1 where the file system has no such files.
    static int createUnnamed(const QString& folder);
    // Gives such a file the name target, only when the name is free (errno EEXIST when taken).
    static bool linkUnnamed(int fd, const QString& target);
    // Gives such a file a part file's name in folder (its own file system), locked like create()'s;
    // the descriptor stays the caller's. Null, logged, when it can't.
    static std::unique_ptr<PartFile> nameUnnamed(int fd, const QString& folder);

    static bool isPartName(const QString& fileName);
    // Removes part files below folder (recursively when asked) left by operations that
    // were killed: only names of ours whose lock nobody holds. Returns how many went.
    static int removeLeftovers(const QString& folder, bool recursive);

    // Notes, before a part file is made there, that this process writes part files in folder.
    // The note lives in a record file of the process, locked while it runs and removed at a
    // clean exit, so a start after a kill looks only where the killed process wrote instead
    // of walking the whole library. create() notes its folder itself.
    static void recordFolder(const QString& folder);
    // Removes the leftovers in the folders noted by processes that are gone (records nobody
    // holds), then their records. Returns how many part files went.
    static int removeRecordedLeftovers();

private:
    PartFile(QString path, int fd);
    QString mPath;
    int mFd = -1;
    bool mCommitted = false;
};
