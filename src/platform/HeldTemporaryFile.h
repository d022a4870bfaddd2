#pragma once

#include <QFile>

namespace platform {

// A temporary file, named from a template ending in "XXXXXX", that holds a lock from the moment
// its name appears until it is destroyed, closed or not, so that the start-up clean-up of
// another process never takes it for a leftover while it is in use. Removed on destruction
// unless setAutoRemove(false).
class HeldTemporaryFile : public QFile {
public:
    explicit HeldTemporaryFile(QString fileTemplate);
    ~HeldTemporaryFile() override;

    using QFile::open;
    // Creates the file and opens it for reading and writing; false when it can't be created.
    bool open();
    const QString& fileTemplate() const { return mTemplate; }
    void setAutoRemove(bool remove) { mAutoRemove = remove; }

private:
    QString mTemplate;
    int mLockFd = -1;
    bool mAutoRemove = true;
};

}  // namespace platform
