#include "shell/AppDelegate.h"

#include "audiofiles/FilePlayer.h"
#include "library/FileSort.h"
#include "library/TrashReminder.h"
#include "library/Utils.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "recording/UnfinishedRecording.h"
#include "shell/FilePlayerPreview.h"
#include "wifidrive/MyWebUploader.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace {
const QString kOldDocuments = QStringLiteral("/Documents");
const QString kKeptInOldDocuments = QStringLiteral("Kormix Recordings");
const QString kRecoveredPattern = QStringLiteral("yyyy-MM-dd HH:mm:ss");
constexpr int kWebServerLogLevel = 2;
const QString kAutoPlayNext = QStringLiteral("AutoPlayNext");

}  // namespace

AppDelegate::AppDelegate(Mode mode, QObject* parent) : QObject(parent), mMode(mode) {}

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
        createScreens();
    }
    fixNewDocumentsFolder();
    checkTrash();
    createWebUploader();
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
    mInterruptionBegan = platform::ScopedObserver(notifications::kInterruptionBegan,
                                                  [this](const platform::Notification&) { beginInterruption(); });
    mInterruptionEnded = platform::ScopedObserver(notifications::kInterruptionEnded,
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
    const QString local = Utils::localDocumentsURL();
    const QString link = Utils::localDocumentsLinkURL();
    QDir().mkpath(local);
    // Rebuilt at every start, so a moved data folder never leaves a stale link behind.
    if (Utils::removeItem(link))
        platform::log(QStringLiteral("Removed old iTunes File Sharing link"));
    if (QFile::link(local, link))
        platform::log(QStringLiteral("Created new iTunes File Sharing link"));
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
        // rename(2) would replace a file of the same name; a clash leaves the old one in place.
        if (!QFileInfo::exists(destination) && !QFileInfo(destination).isSymLink())
            QDir().rename(source, destination);
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
    QDir().rename(found, Utils::documentsURL() + QLatin1Char('/') + name);
    const QString message =
        extension == QLatin1String("m4a")
            ? QStringLiteral("A lost recording was found and saved as '%1'. Since it's in compressed M4A format it "
                             "can not be played, but you might find software online that can repair it.")
                  .arg(name)
            : QStringLiteral("A lost recording was recovered and saved as '%1'").arg(name);
    Utils::showAlert(QStringLiteral("Found lost recording"), message, alertContext());
}

void AppDelegate::observeLifecycle()
{
    connect(qApp, &QCoreApplication::aboutToQuit, this, &AppDelegate::applicationDidEnterBackground);
    observeWindow();
}

void AppDelegate::applicationDidBecomeActive()
{
    AudioEngine::setAppInBackground(false);
    if (mEngineSetUp)
        AudioEngine::start();
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

