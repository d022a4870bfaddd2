#include "shell/screens/AppWindow.h"

#include "audiofiles/screens/BatchToolsController.h"
#include "audiofiles/screens/DetailViewController.h"
#include "library/ItemSelection.h"
#include "library/screens/ItemActionsController.h"
#include "exchange/screens/LibraryExchange.h"
#include "library/UndoStack.h"
#include "library/Utils.h"
#include "platform/Alerts.h"
#include "cloud/screens/DropboxScreens.h"
#include "library/screens/MasterViewController.h"
#include "recording/AudioServerStatus.h"
#include "recording/Recorder.h"
#include "recording/TakeDelivery.h"
#include "recording/screens/AudioSettingsViewController.h"
#include "recording/screens/RecorderViewController.h"
#include "recording/screens/UnitControlPanel.h"
#include "platform/Settings.h"
#include "shell/FilePlayerPreview.h"
#include "shell/screens/InfoViewController.h"
#include "shell/screens/MainMenu.h"
#include "shell/screens/SettingsViewController.h"
#include "ui/screens/NavigationController.h"
#include "ui/screens/ProgressHUD.h"
#include "ui/screens/Theme.h"
#include "wifidrive/MyWebUploader.h"
#include "wifidrive/screens/WiFiDriveViewController.h"

#include <QAction>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QEvent>
#include <QGuiApplication>
#include <QLabel>
#include <QPropertyAnimation>
#include <QSplitter>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
const QString kLibraryTitle = QStringLiteral("Library");
const QString kAppTitle = QStringLiteral("Wavelocker");
constexpr int kInfoButtonWidth = 30;
constexpr int kInfoButtonHeight = 22;
constexpr int kMasterColumnWidth = 380;
constexpr int kWindowWidth = 1100;
constexpr int kWindowHeight = 720;
constexpr int kInfoSlideMs = 300;
const QString kWiFiDriveActionText = QStringLiteral("WiFi Drive\u2026");
constexpr int kWiFiDriveWidth = 420;
constexpr int kWiFiDriveHeight = 700;
const QString kSettingsActionText = QStringLiteral("Settings\u2026");
constexpr int kSettingsWidth = 480;
constexpr int kSettingsHeight = 560;
const QString kWindowGeometryKey = QStringLiteral("WindowGeometry");
const QString kColumnsKey = QStringLiteral("WindowColumns");
const QString kWindowTitleFormat = QStringLiteral("%1 \u2014 Wavelocker");
// Resizing and moving are saved once they have stopped for a moment, not on every step.
constexpr int kSaveStateDelayMs = 500;
}  // namespace

AppWindow::AppWindow(QObject* parent) : AppDelegate(Mode::Window, parent) {}

AppWindow::~AppWindow()
{
    // The window going away is no trip to the background.
    if (mWindow)
        mWindow->removeEventFilter(this);
    // The menus follow the focus; the screens they look at go with the window.
    delete mMainMenu;
}

void AppWindow::applicationWillResignActive()
{
    if (mDetail)
        mDetail->maybeSaveText();
}

QObject* AppWindow::alertContext() const { return mMaster; }

void AppWindow::observeWindow()
{
    // The web uploader exists by now.
    addWiFiDriveAction();
    mSettingsAction = new QAction(kSettingsActionText, this);
    mSettingsAction->setIcon(QIcon::fromTheme(QStringLiteral("preferences-system"),
                                              mWindow->style()->standardIcon(QStyle::SP_FileDialogDetailedView)));
    mSettingsAction->setToolTip(QStringLiteral("Settings"));
    mSettingsAction->setShortcut(QKeySequence::Preferences);
    mWindow->addAction(mSettingsAction);
    connect(mSettingsAction, &QAction::triggered, this, &AppWindow::settingsTapped);
    addBarActions();
    mMainMenu = new MainMenu(this);
    UnitControlPanel::installAsInterfacePresenter();
    mWindow->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state == Qt::ApplicationActive)
            applicationDidBecomeActive();
        else if (state == Qt::ApplicationInactive)
            applicationWillResignActive();
        else if (state == Qt::ApplicationHidden || state == Qt::ApplicationSuspended)
            applicationDidEnterBackground();
    });
}

void AppWindow::createWindow()
{
    mWindow = std::make_unique<QWidget>();
    mWindow->setWindowTitle(kAppTitle);
    mWindow->resize(kWindowWidth, kWindowHeight);
    Theme::applyDarkAppearance(mWindow.get());
}

void AppWindow::createScreens()
{
    createWindow();
    MasterViewController::setRecorderOpener(
        [this](MasterViewController* browser, bool toggle) { openRecorder(browser, toggle); });
    // A remote record toggle: the recorder of the last browser on the stack.
    RecorderLauncher::setOpener([this]() -> Recorder* {
        MasterViewController* browser = nullptr;
        if (mLibraryNavigation)
            for (QWidget* w : mLibraryNavigation->viewControllers())
                if (auto* b = qobject_cast<MasterViewController*>(w))
                    browser = b;
        RecorderViewController* screen = browser ? openRecorder(browser, false) : nullptr;
        return screen ? screen->recorder() : nullptr;
    });
    mDetail = new DetailViewController;
    mMaster = new MasterViewController;
    mMaster->setWindowTitle(kLibraryTitle);
    mMaster->setDetailViewController(mDetail);
    mMaster->setPreviewPlayer(preview());
    mDropboxScreens = new DropboxScreens(dropboxAccount(), dropboxClient(), this);
    mMaster->setDropboxScreen(mDropboxScreens);
    mExchange = new LibraryExchange(this);
    mExchange->setPreviewPlayer(preview());
    mMaster->setPasteboardScreen(mExchange);
    mUndo = new UndoStack(this);
    mMaster->setUndoStack(mUndo);
    connect(mUndo, &UndoStack::itemMoved, mMaster, &MasterViewController::followMove);
    mDetail->setPasteboardScreen(mExchange);

    mLibraryNavigation = new NavigationController(mMaster);
    mMaster->setNavigationController(mLibraryNavigation);
    mDetailNavigation = new NavigationController(mDetail);
    // The editor's own bar carries its title and buttons.
    mDetailNavigation->setBarHiddenAtRoot(true);
    mSplit = new QSplitter(Qt::Horizontal);
    mSplit->addWidget(mLibraryNavigation);
    mSplit->addWidget(mDetailNavigation);
    mSplit->setChildrenCollapsible(false);  // both columns always visible
    mSplit->setStretchFactor(1, 1);
    mSplit->setSizes({kMasterColumnWidth, kWindowWidth - kMasterColumnWidth});
    auto* layout = new QVBoxLayout(mWindow.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(mSplit, 1);
    mServerMessage = new QLabel;
    mServerMessage->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    mServerMessage->setObjectName(QStringLiteral("AudioServerMessage"));
    mServerMessage->setAlignment(Qt::AlignCenter);
    mServerMessage->setContentsMargins(8, 4, 8, 4);
    mServerMessage->setStyleSheet(QStringLiteral("background: #4a3d1c; color: #f2e6c4;"));
    mServerMessage->hide();
    layout->addWidget(mServerMessage);
    mServerStatus = std::make_unique<AudioServerStatus>();
    connect(mServerStatus.get(), &AudioServerStatus::messageChanged, mServerMessage, [label = mServerMessage](const QString& text) {
        label->setText(text);
        label->setVisible(!text.isEmpty());
    });
    mMaster->setFolder(Utils::documentsURL());
    urlCommands()->setPasteHandler([this](const QString& name) { return !mMaster->audioPaste(name).isEmpty(); });
    mBatchTools = new BatchToolsController(mWindow.get(), [this] { return selectedLibraryPaths(); }, this);
    mWindow->addAction(mBatchTools->normalizeAction());
    mWindow->addAction(mBatchTools->convertAction());
    // Every browser pushed later gets them too.
    auto addBatchActions = [this](QWidget* screen) {
        if (auto* browser = qobject_cast<MasterViewController*>(screen))
            browser->actions()->setSelectionActions({mBatchTools->normalizeAction(), mBatchTools->convertAction()});
    };
    addBatchActions(mMaster);
    connect(mLibraryNavigation, &NavigationController::topViewControllerChanged, this, addBatchActions);
    connect(mDetail, &QWidget::windowTitleChanged, this, &AppWindow::updateWindowTitle);
    restoreWindowState();
    addInfoButton();
}

QStringList AppWindow::selectedLibraryPaths() const
{
    auto* browser = mLibraryNavigation ? qobject_cast<MasterViewController*>(mLibraryNavigation->topViewController()) : nullptr;
    return browser ? browser->selection()->targetPaths() : QStringList();
}

void AppWindow::restoreWindowState()
{
    mSaveWindowState = new QTimer(this);
    mSaveWindowState->setSingleShot(true);
    mSaveWindowState->setInterval(kSaveStateDelayMs);
    connect(mSaveWindowState, &QTimer::timeout, this, &AppWindow::saveWindowState);
    connect(mSplit, &QSplitter::splitterMoved, mSaveWindowState, qOverload<>(&QTimer::start));
    mSplit->restoreState(platform::Settings::value(kColumnsKey).toByteArray());
    // Qt puts a window saved on a screen that has gone back onto one that is there.
    if (mWindow->restoreGeometry(platform::Settings::value(kWindowGeometryKey).toByteArray()))
        mWindow->show();
    else
        mWindow->showMaximized();
}

void AppWindow::saveWindowState()
{
    if (!mWindow || !mSplit)
        return;
    platform::Settings::setValue(kWindowGeometryKey, mWindow->saveGeometry());
    platform::Settings::setValue(kColumnsKey, mSplit->saveState());
}

void AppWindow::updateWindowTitle(const QString& fileName)
{
    if (mWindow)
        mWindow->setWindowTitle(fileName.isEmpty() ? kAppTitle : kWindowTitleFormat.arg(fileName));
}

void AppWindow::addInfoButton()
{
    auto* info = new QToolButton;
    info->setToolTip(QStringLiteral("About, help and disk usage"));
    info->setIcon(info->style()->standardIcon(QStyle::SP_MessageBoxInformation));
    info->setFixedSize(kInfoButtonWidth, kInfoButtonHeight);
    info->setAutoRaise(true);
    info->setAccessibleName(QStringLiteral("Info"));
    connect(info, &QToolButton::clicked, this, &AppWindow::infoTapped);
    mLibraryNavigation->setLeftItem(mMaster, info);
}

bool AppWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mWindow.get() && event->type() == QEvent::Hide) {
        saveWindowState();
        applicationDidEnterBackground();
    }
    if (watched == mWindow.get() && (event->type() == QEvent::Resize || event->type() == QEvent::Move) && mSaveWindowState &&
        mWindow->isVisible())
        mSaveWindowState->start();
    return QObject::eventFilter(watched, event);
}

void AppWindow::infoTapped()
{
    if (mInfo || !mLibraryNavigation)
        return;
    auto* info = new InfoViewController;
    auto* navigation = new NavigationController(info, mLibraryNavigation);
    auto* done = new QToolButton;
    done->setText(QStringLiteral("Done"));
    done->setAutoRaise(true);
    done->setToolTip(QStringLiteral("Close the Info screen"));
    connect(done, &QToolButton::clicked, this, &AppWindow::closeInfo);
    navigation->setLeftItem(info, done);
    navigation->setAutoFillBackground(true);
    navigation->setGeometry(mLibraryNavigation->rect());
    navigation->show();
    navigation->raise();
    // Rises from the bottom over the library browser.
    auto* rise = new QPropertyAnimation(navigation, "pos", navigation);
    rise->setDuration(kInfoSlideMs);
    rise->setStartValue(QPoint(0, mLibraryNavigation->height()));
    rise->setEndValue(QPoint(0, 0));
    rise->setEasingCurve(QEasingCurve::OutCubic);
    rise->start(QAbstractAnimation::DeleteWhenStopped);
    mInfo = navigation;
}

void AppWindow::closeInfo()
{
    if (!mInfo)
        return;
    QWidget* info = mInfo;
    auto* fall = new QPropertyAnimation(info, "pos", info);
    fall->setDuration(kInfoSlideMs);
    fall->setEndValue(QPoint(0, info->height()));
    connect(fall, &QPropertyAnimation::finished, info, &QObject::deleteLater);
    fall->start();
    mInfo.clear();
}

// The drive's screen from the window: a button beside the library's title and an action that
// a menu bar can hold as well.
void AppWindow::addWiFiDriveAction()
{
    mWiFiDriveAction = new QAction(kWiFiDriveActionText, this);
    mWiFiDriveAction->setIcon(mWindow->style()->standardIcon(QStyle::SP_DriveNetIcon));
    mWiFiDriveAction->setToolTip(QStringLiteral("WiFi Drive"));
    connect(mWiFiDriveAction, &QAction::triggered, this, &AppWindow::wifiDriveTapped);
}

// The drive's and the settings' buttons beside the library's title.
void AppWindow::addBarActions()
{
    if (!mLibraryNavigation)
        return;
    auto* items = new QWidget;
    auto* layout = new QHBoxLayout(items);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    for (QAction* action : {mWiFiDriveAction, mSettingsAction}) {
        auto* button = new QToolButton;
        button->setDefaultAction(action);
        button->setToolButtonStyle(Qt::ToolButtonIconOnly);
        button->setFixedSize(kInfoButtonWidth, kInfoButtonHeight);
        button->setAutoRaise(true);
        button->setAccessibleName(action->toolTip());
        layout->addWidget(button);
    }
    mLibraryNavigation->setRightItem(mMaster, items);
}

WiFiDriveViewController* AppWindow::wifiDriveViewController() const { return mWiFiDrive; }

void AppWindow::wifiDriveTapped()
{
    if (mWiFiDrive) {
        mWiFiDrive->raise();
        mWiFiDrive->activateWindow();
        return;
    }
    // A window of its own over the main one: the drive keeps running when it is closed.
    mWiFiDrive = new WiFiDriveViewController(webUploader(), mWindow.get());
    mWiFiDrive->setWindowFlag(Qt::Dialog);
    mWiFiDrive->setAttribute(Qt::WA_DeleteOnClose);
    mWiFiDrive->resize(kWiFiDriveWidth, kWiFiDriveHeight);
    mWiFiDrive->show();
}

void AppWindow::activate()
{
    if (!mWindow)
        return;
    if (mWindow->isMinimized())
        mWindow->showMaximized();
    mWindow->raise();
    mWindow->activateWindow();
}

void AppWindow::showFileOrFolder(const QString& path)
{
    popToRootBrowser();
    if (mMaster && !Utils::pathIsLibraryRoot(path))
        mMaster->showFileOrFolder(path);
}

void AppWindow::popToRootBrowser()
{
    if (mLibraryNavigation && mMaster)
        mLibraryNavigation->popToViewController(mMaster, false);
}

ProgressHUD* AppWindow::pasteOverlay() const { return mPasteOverlay; }

void AppWindow::pasteImportStarted(const QString& message)
{
    mPasteOverlay = ProgressHUD::showWithMessage(mWindow.get(), message);
    if (mPasteOverlay)
        mPasteOverlay->setProgress(1.0f);
}

void AppWindow::pasteImportFinished(bool succeeded)
{
    if (!mPasteOverlay)
        return;
    if (succeeded)
        mPasteOverlay->makeAutoDismissMessage(QStringLiteral("Done"));
    else
        mPasteOverlay->makeDismissMessage(QStringLiteral("Sorry\nCould not import audio"));
}

SettingsViewController* AppWindow::settingsViewController() const
{
    return mSettings ? qobject_cast<SettingsViewController*>(mSettings->viewControllers().value(0)) : nullptr;
}

void AppWindow::settingsTapped()
{
    if (mSettings) {
        mSettings->raise();
        mSettings->activateWindow();
        return;
    }
    auto* settings = new SettingsViewController(preferences(), [] { return new AudioSettingsViewController; });
    settings->setDropboxScreens(mDropboxScreens);
    mSettings = new NavigationController(settings, mWindow.get());
    mSettings->setWindowFlag(Qt::Dialog);
    mSettings->setWindowTitle(settings->windowTitle());
    mSettings->setAttribute(Qt::WA_DeleteOnClose);
    mSettings->resize(kSettingsWidth, kSettingsHeight);
    mSettings->show();
}

RecorderViewController* AppWindow::openRecorder(MasterViewController* browser, bool toggle)
{
    if (!mLibraryNavigation || !browser)
        return nullptr;
    if (mRecorder) {
        mLibraryNavigation->popToViewController(mRecorder, true);
    } else {
        if (mLibraryNavigation->viewControllers().contains(browser))
            mLibraryNavigation->popToViewController(browser, false);
        mRecorder = new RecorderViewController;
        mLibraryNavigation->pushViewController(mRecorder, true);
        mRecorder->installBarItems(mLibraryNavigation);
        connect(mRecorder, &RecorderViewController::closeRequested, this, &AppWindow::closeRecorder);
        TakeDelivery::Hooks hooks;
        hooks.progress = [this](const QString& message) {
            if (!mNormalizing)
                mNormalizing = ProgressHUD::showWithMessage(mWindow.get(), message);
            else if (message == QLatin1String("Normalized"))
                mNormalizing->makeAutoDismissMessage(message);
            else
                mNormalizing->setMessage(message);
        };
        hooks.delivered = [this](const QString& path, bool autoOpen) {
            if (!autoOpen)
                return;
            closeRecorder();
            // A normalized take is replaced in place after the list saw it arrive, so the
            // list's own opening may have passed: open it here when its row is there.
            if (!mLibraryNavigation || (mDetail && mDetail->detailItem() == path))
                return;
            const QString folder = QFileInfo(path).absolutePath();
            for (QWidget* w : mLibraryNavigation->viewControllers()) {
                auto* browser = qobject_cast<MasterViewController*>(w);
                if (browser && browser->folder() == folder && browser->rowForItemWithPath(path) >= 0) {
                    Utils::clearLastNewFile();
                    browser->openFile(path);
                    return;
                }
            }
        };
        hooks.failed = [this](const QString& error) {
            if (mNormalizing)
                mNormalizing->dismiss();
            platform::showAlert(QStringLiteral("Sorry"), error, mWindow.get());
        };
        mRecorder->recorder()->setDoneBlock(TakeDelivery::doneBlock(browser->folder(), this, std::move(hooks)));
    }
    if (toggle)
        mRecorder->recPress();
    return mRecorder;
}

void AppWindow::closeRecorder()
{
    if (!mRecorder || !mLibraryNavigation)
        return;
    const QList<QWidget*>& stack = mLibraryNavigation->viewControllers();
    const int at = int(stack.indexOf(mRecorder));
    if (at > 0)
        mLibraryNavigation->popToViewController(stack[at - 1], true);
}

void AppWindow::libraryMoved(const QString& root)
{
    // Steps recorded in the old library name places that are no longer the library.
    if (mUndo)
        mUndo->clear();
    popToRootBrowser();
    if (mDetail)
        mDetail->setDetailItem(QString());
    if (mMaster)
        mMaster->setFolder(root);
}
