#include "platform/Locations.h"

#include "platform/Settings.h"

#include <QDir>
#include <QFileInfo>
#include <mutex>
#include <sys/stat.h>

namespace platform::Locations {
namespace {

const QString kGroup = QStringLiteral("group.com.orvenic.Wavelocker");
const QString kApp = QStringLiteral("com.orvenic.Wavelocker");

std::mutex gMutex;
QString gLibraryOverride;

QString xdg(const char* var, const char* fallbackUnderHome)
{
    const QString value = qEnvironmentVariable(var);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return QDir::cleanPath(QDir::homePath() + QLatin1Char('/') + QLatin1String(fallbackUnderHome));
}

QString overriddenRoot()
{
    std::lock_guard lock(gMutex);
    if (!gLibraryOverride.isEmpty())
        return gLibraryOverride;
    const QString env = qEnvironmentVariable("WAVELOCKER_LIBRARY");
    return env.isEmpty() ? QString() : QDir::cleanPath(QDir(env).absolutePath());
}

}  // namespace

QString dataHome() { return xdg("XDG_DATA_HOME", ".local/share"); }
QString cacheHome() { return xdg("XDG_CACHE_HOME", ".cache"); }
QString configHome() { return xdg("XDG_CONFIG_HOME", ".config"); }

void setLibraryOverride(const QString& dir)
{
    std::lock_guard lock(gMutex);
    gLibraryOverride = dir.isEmpty() ? QString() : QDir::cleanPath(QDir(dir).absolutePath());
}

QString libraryRoot()
{
    if (const QString root = overriddenRoot(); !root.isEmpty())
        return root;
    const QString chosen = Settings::value(QLatin1String(kLibraryFolderSetting)).toString();
    if (!chosen.isEmpty() && QDir::isAbsolutePath(chosen))
        return QDir::cleanPath(chosen);
    return dataHome() + QLatin1Char('/') + kGroup + QStringLiteral("/File Provider Storage");
}

bool libraryIsOverridden() { return !overriddenRoot().isEmpty(); }

QString appGroupContainer()
{
    return overriddenRoot().isEmpty() ? dataHome() + QLatin1Char('/') + kGroup : QString();
}

QString privateDocuments() { return dataHome() + QLatin1Char('/') + kApp + QStringLiteral("/Documents"); }
QString appLibrary() { return dataHome() + QLatin1Char('/') + kApp + QStringLiteral("/Library"); }
QString pasteboards() { return dataHome() + QStringLiteral("/pasteboards"); }

QString tempDir()
{
    const QString dir = cacheHome() + QLatin1Char('/') + kApp + QStringLiteral("/tmp");
    QDir().mkpath(dir);
    // Recordings and half-written files live here: keep them private to the user.
    ::chmod(QFile::encodeName(dir).constData(), 0700);
    return dir;
}

QString fileInformationCache() { return cacheHome() + QLatin1Char('/') + kApp + QStringLiteral("/file-info"); }

QString partRecords() { return cacheHome() + QLatin1Char('/') + kApp + QStringLiteral("/parts"); }
QString packetIndexes() { return cacheHome() + QLatin1Char('/') + kApp + QStringLiteral("/packet-indexes"); }

QString runtimeDir()
{
    const QString runtime = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (!runtime.isEmpty() && QDir::isAbsolutePath(runtime) && QFileInfo(runtime).isDir())
        return QDir::cleanPath(runtime);
    return tempDir();
}

}  // namespace platform::Locations
