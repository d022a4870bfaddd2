#include "shell/AppDelegate.h"

#include "audiofiles/DetailViewController.h"
#include "audiofiles/FilePlayer.h"
#include "library/MasterViewController.h"
#include "library/TrashReminder.h"
#include "library/Utils.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/AudioServerStatus.h"
#include "recording/UnfinishedRecording.h"
#include "shell/FilePlayerPreview.h"
#include "shell/InfoViewController.h"
#include "ui/NavigationController.h"
#include "ui/Theme.h"
#include "wifidrive/MyWebUploader.h"
#include "wifidrive/WiFiDriveViewController.h"

#include <QAction>
#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QGuiApplication>
#include <QLabel>
#include <QPropertyAnimation>
#include <QSplitter>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace {
const QString kLibraryTitle = QStringLiteral("Library");
const QString kOldDocuments = QStringLiteral("/Documents");
const QString kKeptInOldDocuments = QStringLiteral("Kormix Recordings");
const QString kRecoveredPattern = QStringLiteral("yyyy-MM-dd HH:mm:ss");
constexpr int kInfoButtonWidth = 30;
constexpr int kInfoButtonHeight = 22;
constexpr int kMasterColumnWidth = 380;
constexpr int kWindowWidth = 1100;
constexpr int kWindowHeight = 720;
constexpr int kInfoSlideMs = 300;
constexpr int kWebServerLogLevel = 2;
const QString kWiFiDriveActionText = QStringLiteral("WiFi Drive\u2026");
constexpr int kWiFiDriveWidth = 420;
constexpr int kWiFiDriveHeight = 520;
const QString kAutoPlayNext = QStringLiteral("AutoPlayNext");

}  // namespace

AppDelegate::AppDelegate(Mode mode, QObject* parent) : QObject(parent), mMode(mode) {}

AppDelegate::~AppDelegate()
{
    // The window going away is no trip to the background.
    if (mWindow)
        mWindow->removeEventFilter(this);
    // The host engine's timers and the player's channel go before the application does.
    if (std::exchange(mEngineSetUp, false))
        AudioEngine::teardown();
}

bool AppDelegate::didFinishLaunching()
{
    linkLocalDocuments();
    if (mMode == Mode::Window) {
        createWindow();
        setupAudioEngine();
        createScreens();
        addInfoButton();
    }
    fixNewDocumentsFolder();
    checkTrash();
    createWebUploader();
    if (mMode == Mode::Window)
        addWiFiDriveAction();
    reportMovedAsideItems();
    recoverUnfinishedRecording();
    AudioEngine::setAutoPlayNext(platform::Settings::value(kAutoPlayNext).toBool());
    observeLifecycle();
    return true;
}

// The headless server plays nothing, so only the window sets up audio.
void AppDelegate::setupAudioEngine()
{
    AudioEngine::setup();
    mEngineSetUp = true;
    // After an interruption with nothing playing, or a stop in the background, the engine is
    // idle: whatever starts play (a preview, the editor) brings it back.
    QObject::connect(FilePlayer::sharedPlayer(), &FilePlayer::playingChanged, this, [](bool playing) {
        if (const platform::HostEngine* engine = AudioEngine::audioController(); playing && engine && !engine->isRunning())
            AudioEngine::start();
    });
    mInterruptionBegan = platform::ScopedObserver(QLatin1String(platform::HostEngine::kInterruptionBegan),
                                                  [this](const platform::Notification&) { beginInterruption(); });
    mInterruptionEnded = platform::ScopedObserver(QLatin1String(platform::HostEngine::kInterruptionEnded),
                                                  [this](const platform::Notification&) { endInterruption(); });
}

void AppDelegate::beginInterruption()
{
    platform::log(QStringLiteral("Audio session interruption begin"));
    // The session went with the server; the engine keeps looking for the server's return,
    // which ends the interruption.
    FilePlayer* player = FilePlayer::sharedPlayer();
    mRecStateAtInterruption = AudioEngine::recState();
    mPlayerWasPlaying = player->isPlaying();
    mPlayerTime = player->getCurrentTime();
    if (platform::HostEngine* controller = AudioEngine::audioController())
        controller->stop();
    if (mPlayerWasPlaying) {
        platform::log(QStringLiteral("Pausing player"));
        if (mPreview)
            mPreview->setInterrupted(true);
        player->pause();
    }
}

void AppDelegate::endInterruption()
{
    platform::log(QStringLiteral("Audio session interruption end"));
    if (platform::HostEngine* controller = AudioEngine::audioController())
        controller->setSessionActive(true);
    // A recording is not resumed; only the engine is restarted for it.
    if (mRecStateAtInterruption || mPlayerWasPlaying)
        AudioEngine::start();
    if (mPlayerWasPlaying) {
        platform::log(QStringLiteral("Resuming player"));
        FilePlayer* player = FilePlayer::sharedPlayer();
        player->setStartTime(mPlayerTime);
        player->play();
        mPlayerWasPlaying = false;
        if (mPreview)
            mPreview->setInterrupted(false);
    }
}

// Prepared at start, started only when the user (or --serve) asks.
void AppDelegate::createWebUploader()
{
    GCDWebServer::setLogLevel(kWebServerLogLevel);
    mWebUploader = std::make_unique<MyWebUploader>(Utils::documentsURL());
    mWebUploader->setDelegate(this);
}

void AppDelegate::webServerDidStart(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(WiFiDriveViewController::kChangedNotification, server);
}

void AppDelegate::webServerDidStop(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(WiFiDriveViewController::kChangedNotification, server);
}

void AppDelegate::webServerDidCompleteBonjourRegistration(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(WiFiDriveViewController::kChangedNotification, server);
}

void AppDelegate::linkLocalDocuments()
{
    // The cached locations are made here, on the main thread, before any queue asks for them.
    Utils::documentsURL();
    for (const auto& [reserved, aside] : Utils::prepareSystemItems())
        mMovedAside.append({QFileInfo(reserved).fileName(), QFileInfo(aside).fileName()});
}

void AppDelegate::reportMovedAsideItems()
{
    // Said once, after the window exists: the log line was written when it happened.
    for (const auto& [reserved, aside] : std::exchange(mMovedAside, {}))
        Utils::showAlert(QStringLiteral("Name reserved"),
                         QStringLiteral("'%1' is reserved by the system. The item you had under that name is now "
                                        "'%2'.")
                             .arg(reserved, aside),
                         mMaster);
}

void AppDelegate::createWindow()
{
    mWindow = std::make_unique<QWidget>();
    mWindow->setWindowTitle(QStringLiteral("Wavelocker"));
    mWindow->resize(kWindowWidth, kWindowHeight);
    Theme::applyDarkAppearance(mWindow.get());
}

void AppDelegate::createScreens()
{
    mDetail = new DetailViewController;
    mMaster = new MasterViewController;
    mMaster->setWindowTitle(kLibraryTitle);
    mMaster->setDetailViewController(mDetail);
    mPreview = std::make_unique<FilePlayerPreview>(FilePlayer::sharedPlayer());
    mMaster->setPreviewPlayer(mPreview.get());

    mLibraryNavigation = new NavigationController(mMaster);
    mMaster->setNavigationController(mLibraryNavigation);
    mDetailNavigation = new NavigationController(mDetail);
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
    mWindow->showMaximized();
}

void AppDelegate::addInfoButton()
{
    auto* info = new QToolButton;
    info->setIcon(info->style()->standardIcon(QStyle::SP_MessageBoxInformation));
    info->setFixedSize(kInfoButtonWidth, kInfoButtonHeight);
    info->setAutoRaise(true);
    info->setAccessibleName(QStringLiteral("Info"));
    connect(info, &QToolButton::clicked, this, &AppDelegate::infoTapped);
    mLibraryNavigation->setLeftItem(mMaster, info);
}

// The drive's screen from the window: a button beside the library's title and an action that
// a menu bar can hold as well.
void AppDelegate::addWiFiDriveAction()
{
    mWiFiDriveAction = new QAction(kWiFiDriveActionText, this);
    mWiFiDriveAction->setIcon(mWindow->style()->standardIcon(QStyle::SP_DriveNetIcon));
    mWiFiDriveAction->setToolTip(QStringLiteral("WiFi Drive"));
    connect(mWiFiDriveAction, &QAction::triggered, this, &AppDelegate::wifiDriveTapped);
    if (!mLibraryNavigation)
        return;
    auto* button = new QToolButton;
    button->setDefaultAction(mWiFiDriveAction);
    button->setToolButtonStyle(Qt::ToolButtonIconOnly);
    button->setFixedSize(kInfoButtonWidth, kInfoButtonHeight);
    button->setAutoRaise(true);
    button->setAccessibleName(QStringLiteral("WiFi Drive"));
    mLibraryNavigation->setRightItem(mMaster, button);
}

WiFiDriveViewController* AppDelegate::wifiDriveViewController() const { return mWiFiDrive; }

void AppDelegate::wifiDriveTapped()
{
    if (mWiFiDrive) {
        mWiFiDrive->raise();
        mWiFiDrive->activateWindow();
        return;
    }
    // A window of its own over the main one: the drive keeps running when it is closed.
    mWiFiDrive = new WiFiDriveViewController(mWebUploader.get(), mWindow.get());
    mWiFiDrive->setWindowFlag(Qt::Dialog);
    mWiFiDrive->setAttribute(Qt::WA_DeleteOnClose);
    mWiFiDrive->resize(kWiFiDriveWidth, kWiFiDriveHeight);
    mWiFiDrive->show();
}

void AppDelegate::fixNewDocumentsFolder()
{
    const QString container = platform::Locations::appGroupContainer();
    if (container.isEmpty())
        return;
    const QString old = container + kOldDocuments;
    if (!QFileInfo(old).isDir())
        return;
    const QStringList entries =
        QDir(old).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    platform::log(QStringLiteral("Old Documents folder existent. Moving %1 files...").arg(entries.size()));
    const QString library = Utils::documentsURL();
    for (const QString& name : entries) {
        if (name == kKeptInOldDocuments)
            continue;
        const QString source = old + QLatin1Char('/') + name;
        const QString destination = library + QLatin1Char('/') + name;
        platform::log(source);
        platform::log(QStringLiteral("-->"));
        platform::log(destination);
        // A clash leaves the old one in place.
        QString error;
        if (!Utils::moveItemNoReplace(source, destination, &error))
            platform::log(QStringLiteral("ERROR moving %1: %2").arg(source, error));
    }
}

void AppDelegate::checkTrash() { TrashReminder::checkTrash(); }

void AppDelegate::recoverUnfinishedRecording()
{
    const QString found = UnfinishedRecording::hasUnfinishedRecording();
    if (found.isEmpty())
        return;
    platform::log(QStringLiteral("Found unfinished recording: %1").arg(found));
    const QString extension = QFileInfo(found).suffix();
    const QString name = QStringLiteral("Recovered %1.%2")
                             .arg(QDateTime::currentDateTime().toString(kRecoveredPattern), extension);
    QString error;
    if (!Utils::moveItemNoReplace(found, Utils::uniquePathKeepingDot(Utils::documentsURL() + QLatin1Char('/') + name),
                                  &error)) {
        // Left where it is, so the next start finds it again.
        platform::log(QStringLiteral("ERROR saving the lost recording: %1").arg(error));
        return;
    }
    const QString message =
        extension == QLatin1String("m4a")
            ? QStringLiteral("A lost recording was found and saved as '%1'. Since it's in compressed M4A format it "
                             "can not be played, but you might find software online that can repair it.")
                  .arg(name)
            : QStringLiteral("A lost recording was recovered and saved as '%1'").arg(name);
    Utils::showAlert(QStringLiteral("Found lost recording"), message, mMaster);
}

void AppDelegate::observeLifecycle()
{
    connect(qApp, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationDidEnterBackground);
    if (mMode == Mode::Headless)
        return;
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

bool AppDelegate::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mWindow.get() && event->type() == QEvent::Hide)
        applicationDidEnterBackground();
    return QObject::eventFilter(watched, event);
}

void AppDelegate::applicationDidBecomeActive()
{
    AudioEngine::setAppInBackground(false);
    if (mEngineSetUp)
        AudioEngine::start();
}

void AppDelegate::applicationWillResignActive()
{
    if (mDetail)
        mDetail->maybeSaveText();
}

void AppDelegate::applicationDidEnterBackground()
{
    AudioEngine::setAppInBackground(true);
    platform::Settings::setValue(kAutoPlayNext, AudioEngine::autoPlayNext());
    MasterViewController::saveDefaults();
    platform::Settings::sync();
    if (mEngineSetUp)
        AudioEngine::maybeStop();
}

void AppDelegate::infoTapped()
{
    if (mInfo || !mLibraryNavigation)
        return;
    auto* info = new InfoViewController;
    auto* navigation = new NavigationController(info, mLibraryNavigation);
    auto* done = new QToolButton;
    done->setText(QStringLiteral("Done"));
    done->setAutoRaise(true);
    connect(done, &QToolButton::clicked, this, &AppDelegate::closeInfo);
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

void AppDelegate::closeInfo()
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
