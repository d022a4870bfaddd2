#pragma once
#include <QDialog>
#include <functional>

class QTreeWidget;
class QTreeWidgetItem;
class QPushButton;

// A modal folder picker over the library: folders only, starting at the library root. It
// can create a folder inside the chosen one.
class FolderViewController : public QDialog {
    Q_OBJECT
public:
    explicit FolderViewController(QWidget* parent = nullptr);

    void setButtonTitle(const QString& title);
    // Called once with the chosen folder's path, or a null string when cancelled.
    std::function<void(const QString& path)> completionBlock;

    QString selectedPath() const;
    bool selectPath(const QString& path);
    // Opens the name editor for a new folder inside the selected one.
    void newFolder();

    QTreeWidget* tree() const { return mTree; }
    QPushButton* confirmButton() const { return mConfirm; }

private:
    void reload(const QString& selectAfter);
    void finish(const QString& path);

    QTreeWidget* mTree;
    QPushButton* mConfirm;
    bool mFinished = false;
};
