#include "shell/Preferences.h"

#include "library/Utils.h"
#include "platform/HostEngine.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "recording/AudioEngine.h"
#include "wifidrive/GCDWebUploader.h"

#include <QDir>
#include <QFileInfo>

namespace {
const QString kLibraryFolder = QLatin1String(platform::Locations::kLibraryFolderSetting);
const QString kPort = QLatin1String(GCDWebServer::kPortSetting);
const QString kServerName = QLatin1String(platform::HostEngine::kServerNameSetting);
constexpr int kMaxPort = 65535;

bool inside(const QString& path, const QString& folder)
{
    return !folder.isEmpty() && (path == folder || path.startsWith(folder + QLatin1Char('/')));
}

// path with links resolved, also when its last folders don't exist yet.
QString resolved(const QString& path)
{
    QString existing = path;
    QString rest;
    while (!QFileInfo::exists(existing) && existing != QLatin1String("/")) {
        rest = QLatin1Char('/') + QFileInfo(existing).fileName() + rest;
        existing = QFileInfo(existing).path();
    }
    return QDir::cleanPath(QFileInfo(existing).canonicalFilePath() + rest);
}
}  // namespace

Preferences::Preferences(QObject* parent) : QObject(parent) {}

QString Preferences::libraryFolder() const { return Utils::documentsURL(); }

bool Preferences::libraryFolderIsFixed() const { return platform::Locations::libraryIsOverridden(); }

bool Preferences::setLibraryFolder(const QString& dir, QString* error)
{
    if (libraryFolderIsFixed()) {
        *error = QStringLiteral("The library folder is set on the command line (--library) or by WAVELOCKER_LIBRARY.");
        return false;
    }
    const QString wanted = dir.isEmpty() ? QString() : QDir::cleanPath(QDir(dir).absolutePath());
    if (!wanted.isEmpty()) {
        const QString real = resolved(wanted);
        // The library links to the private documents; inside them it would hold itself.
        if (inside(real, resolved(platform::Locations::tempDir())) || inside(real, resolved(Utils::localDocumentsURL()))) {
            *error = QStringLiteral("'%1' is one of Wavelocker's own folders.").arg(wanted);
            return false;
        }
        if (!QDir().mkpath(wanted) || !QFileInfo(wanted).isDir() || !QFileInfo(wanted).isWritable()) {
            *error = QStringLiteral("'%1' is not a folder Wavelocker can write to.").arg(wanted);
            return false;
        }
    }
    const QString before = Utils::documentsURL();
    platform::Settings::setValue(kLibraryFolder, wanted);
    platform::Settings::sync();
    Utils::resetCachedLocations();
    const QString root = Utils::documentsURL();
    if (root == before)
        return true;
    platform::log(QStringLiteral("The library is now %1").arg(root));
    restartUploader();
    emit libraryFolderChanged(root);
    return true;
}

int Preferences::webServerPort() const { return GCDWebServer::preferredPort(); }

void Preferences::setWebServerPort(int port)
{
    if (port < 0 || port > kMaxPort || port == webServerPort())
        return;
    platform::Settings::setValue(kPort, port);
    platform::Settings::sync();
    restartUploader();
}

QString Preferences::jackServerName() const { return platform::Settings::value(kServerName).toString(); }

void Preferences::setJackServerName(const QString& name)
{
    const QString trimmed = name.trimmed();
    platform::Settings::setValue(kServerName, trimmed);
    platform::Settings::sync();
    if (platform::HostEngine* engine = AudioEngine::audioController())
        engine->setServerName(trimmed);
}

// A running drive moves to the new folder and port at once; a stopped one starts there.
void Preferences::restartUploader()
{
    if (!mUploader)
        return;
    const bool running = mUploader->isRunning();
    mUploader->stop();
    mUploader->setUploadDirectory(Utils::documentsURL());
    if (running)
        mUploader->startWithPort(webServerPort(), QStringLiteral(""));
}
