#pragma once
#include <QStringList>

class MasterViewController;

// What the browser needs of the Dropbox screens: import into its folder, export its items.
// The window sets one on the root browser; the folders it enters share it.
class DropboxScreen {
public:
    // Picks items in the account and downloads them into the browser's folder.
    virtual void importFromDropbox(MasterViewController* browser) = 0;
    // Picks a Dropbox folder and uploads the items (folders with everything in them) there.
    virtual void exportToDropbox(MasterViewController* browser, const QStringList& paths) = 0;

protected:
    ~DropboxScreen() = default;
};
