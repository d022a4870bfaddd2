#pragma once
#include <QObject>
#include <QPointer>
#include <QString>
#include <functional>

class AppWindow;
class MasterViewController;
class QAction;
class QActionGroup;
class QMenu;
class QMenuBar;

// The window's menu bar: every command of the screens under File, Edit, View, Play, Tools,
// Window and Help, with the desktop's usual keys. Commands act on the library level on top of
// the stack (its picked rows, else its current row) and on the file in the editor; entries
// are enabled by what they would act on. Keys that act on list rows (Return, Delete, F2,
// Ctrl+A, Ctrl+C, Ctrl+V) work while the library column has the keyboard, so that they never
// reach a row from a text field or the editor.
class MainMenu : public QObject {
    Q_OBJECT
public:
    explicit MainMenu(AppWindow* app);

    QMenuBar* menuBar() const { return mBar; }
    // The entry named text (its first text, without "…"; "Play" also while it reads "Pause"),
    // or nullptr.
    QAction* action(const QString& text) const;
    // Every entry of every menu, in menu order (separators and submenus left out).
    QList<QAction*> commands() const;
    // Enables, checks and names the entries by the current state.
    void refresh();

private:
    MasterViewController* browser() const;
    QAction* add(QMenu* menu, const QString& text, const QKeySequence& keys, std::function<void()> run,
                 bool listKeys = false);
    void buildFile();
    void buildEdit();
    void buildView();
    void buildPlay();
    void buildTools();
    void buildWindow();
    void buildHelp();
    void followBrowser();
    void showShortcuts();

    AppWindow* mApp;
    QMenuBar* mBar;
    QList<QMenu*> mMenus;
    QActionGroup* mSortGroup = nullptr;
    QPointer<MasterViewController> mFollowed;
};
