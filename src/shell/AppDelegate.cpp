#include "shell/AppDelegate.h"

#include "cloud/DropboxAccount.h"
#include "cloud/DropboxClient.h"
#include "audiofiles/FilePlayer.h"
#include "exchange/LibraryPasteboard.h"
#include "library/FileSort.h"
#include "library/TrashReminder.h"
#include "library/Utils.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/MainThreadObserver.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/TakeDelivery.h"
#include "recording/UnfinishedRecording.h"
#include "shell/FilePlayerPreview.h"
#include "shell/Preferences.h"
#include "wifidrive/MyWebUploader.h"
#include "wifidrive/WiFiDriveSettings.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace {
const QString kOldDocuments = QStringLiteral("/Documents");
const QString kKeptInOldDocuments = QStringLiteral("Kormix Recordings");
constexpr int kWebServerLogLevel = 2;
const QString kAutoPlayNext = QStringLiteral("AutoPlayNext");

}  // namespace

AppDelegate::AppDelegate(Mode mode, QObject* parent)
    : QObject(parent),
      mMode(mode),
      mUrlCommands(std::make_unique<UrlCommands>(this)),
      mPreferences(std::make_unique<Preferences>())
{
    // Without a window the paste lands in the library's root; the window's browser takes over.
    mUrlCommands->setPasteHandler(
        [](const QString& name) { return !LibraryPasteboard::audioPaste(Utils::documentsURL(), name).isEmpty(); });
    connect(mPreferences.get(), &Preferences::libraryFolderChanged, this, [this](const QString& root) {
        linkLocalDocuments();
        reportMovedAsideItems();
        libraryMoved(root);
    });
}

AppDelegate::~AppDelegate()
{
    // The host engine's timers and the player's channel go before the application does.
    if (std::exchange(mEngineSetUp, false))
        AudioEngine::teardown();
}

bool AppDelegate::didFinishLaunching()
{
    linkLocalDocuments();
    if (mMode == Mode::Window) {
        setupAudioEngine();
        mPreview = std::make_unique<FilePlayerPreview>(FilePlayer::sharedPlayer());
        setupDropbox();
        createScreens();
    }
    fixNewDocumentsFolder();
    checkTrash();
    createWebUploader();
    reportMovedAsideItems();
    recoverUnfinishedRecording();
    AudioEngine::setAutoPlayNext(platform::Settings::value(kAutoPlayNext).toBool());
    observeLifecycle();
    return true;
}

void AppDelegate::setupDropbox()
{
    mDropboxAccount = new cloud::DropboxAccount(this);
    mDropboxClient = new cloud::DropboxClient(mDropboxAccount, this);
    mDropboxAccount->load();
}

// The headless server plays nothing, so only the window sets up audio.
void AppDelegate::setupAudioEngine()
{
    AudioEngine::setup();
    mEngineSetUp = true;
    // After an interruption with nothing playing, or a stop in the background, the engine is
    // idle: whatever starts play (a preview, the editor) brings it back.
    QObject::connect(FilePlayer::sharedPlayer(), &FilePlayer::playingChanged, this, [this](bool playing) {
        const platform::HostEngine* engine = AudioEngine::audioController();
        if (!playing || !engine || engine->isRunning())
            return;
        AudioEngine::start();
        // Without a server the play button must not claim to play. Paused after this signal has
        // reached everyone, so no observer sees "stopped" before "playing".
        if (engine->isRunning())
            return;
        QMetaObject::invokeMethod(this, [] { FilePlayer::sharedPlayer()->pause(); }, Qt::QueuedConnection);
        platform::NotificationCenter::defaultCenter().post(notifications::kAudioServerUnreachable, engine);
    });
    mInterruptionBegan = platform::ScopedObserver(notifications::kInterruptionBegan,
                                                  [this](const platform::Notification&) { beginInterruption(); });
    mInterruptionEnded = platform::ScopedObserver(notifications::kInterruptionEnded,
                                                  [this](const platform::Notification&) { endInterruption(); });
    mRemoteToggleRecord = platform::observeOnMain(notifications::kRemoteToggleRecord, this,
                                                  [this](const platform::Notification&) { remoteToggleRecord(); });
}

void AppDelegate::remoteToggleRecord()
{
    popToRootBrowser();
    if (!RecorderLauncher::openAndToggleRecorder())
        platform::log(QStringLiteral("No recorder to toggle"));
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
    mPreferences->setWebUploader(mWebUploader.get());
    WiFiDriveSettings::apply(*mWebUploader);
}

void AppDelegate::webServerDidStart(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(notifications::kWifiChanged, server);
}

void AppDelegate::webServerDidStop(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(notifications::kWifiChanged, server);
}

void AppDelegate::webServerDidCompleteBonjourRegistration(GCDWebServer* server)
{
    platform::NotificationCenter::defaultCenter().post(notifications::kWifiChanged, server);
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
                         alertContext());
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
    const UnfinishedRecording::Recovery r = UnfinishedRecording::recover(Utils::documentsURL());
    if (!r.savedAs.isEmpty())
        Utils::showAlert(QStringLiteral("Found lost recording"), r.message, alertContext());
}

void AppDelegate::observeLifecycle()
{
    connect(qApp, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationDidEnterBackground);
    observeWindow();
}

void AppDelegate::applicationDidBecomeActive()
{
    AudioEngine::setAppInBackground(false);
    if (mEngineSetUp) {
        AudioEngine::start();
        AudioEngine::maybeFetchDownloadableIaaList();
    }
}

void AppDelegate::applicationWillResignActive() {}

void AppDelegate::applicationDidEnterBackground()
{
    AudioEngine::setAppInBackground(true);
    platform::Settings::setValue(kAutoPlayNext, AudioEngine::autoPlayNext());
    FileSort::saveDefaults();
    platform::Settings::sync();
    if (mEngineSetUp)
        AudioEngine::maybeStop();
}

void AppDelegate::openURL(const QUrl& url, const OpenURLOptions& options, const UrlCommands::Answer& answer)
{
    mUrlCommands->openURL(url, options, answer);
}

void AppDelegate::openURLs(const HandOver& request, const std::function<void(const QList<bool>&)>& answers)
{
    activate();
    if (request.urls.isEmpty()) {
        answers({});
        return;
    }
    struct Pending {
        QList<bool> answers;
        qsizetype left;
    };
    auto pending = std::make_shared<Pending>(Pending{QList<bool>(request.urls.size(), false), request.urls.size()});
    const OpenURLOptions options{request.sourceApp, false};
    for (qsizetype i = 0; i < request.urls.size(); ++i) {
        openURL(QUrl(request.urls[i]), options, [pending, i, answers](bool handled) {
            pending->answers[i] = handled;
            if (--pending->left == 0)
                answers(pending->answers);
        });
    }
}

// Headless there is no browser to show it in: the log says what a window would show.
void AppDelegate::showFileOrFolder(const QString& path) { platform::log(QStringLiteral("Showing %1").arg(path)); }

void AppDelegate::pasteImportStarted(const QString& message) { platform::log(message); }

void AppDelegate::pasteImportFinished(bool succeeded)
{
    platform::log(succeeded ? QStringLiteral("Done") : QStringLiteral("Could not import audio"));
}
