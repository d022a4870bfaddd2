#include "shell/Startup.h"

#include "audiofiles/RecFormats.h"
#include "library/Utils.h"
#include "library/ZipArchive.h"
#include "platform/Locations.h"
#include "platform/Log.h"
#include "platform/PartFile.h"
#include "platform/HostEngine.h"
#include "platform/PasswordHash.h"
#include "platform/Settings.h"
#include "wifidrive/GCDWebServer.h"
#include "wifidrive/WebPaths.h"
#include "wifidrive/WiFiDriveSettings.h"

#include <QDateTime>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Startup {
namespace {

using Check = platform::Settings::Check;

constexpr double kMinSampleRate = 8000;
constexpr double kMaxSampleRate = 192000;
constexpr double kMaxBitRate = 512000;
constexpr double kMaxTempo = 999;
constexpr double kMaxUnzipRatio = 1e6;
constexpr double kMaxPort = 65535;

// A number as the settings file gives it back: typed, or text of a plain number.
std::optional<double> number(const QVariant& v)
{
    bool ok = false;
    double d = 0;
    switch (v.typeId()) {
    case QMetaType::Int: case QMetaType::LongLong: case QMetaType::UInt: case QMetaType::ULongLong:
    case QMetaType::Double: case QMetaType::Float:
        d = v.toDouble(&ok);
        break;
    case QMetaType::QString: case QMetaType::QByteArray:
        d = v.toString().trimmed().toDouble(&ok);
        break;
    default:
        break;
    }
    if (!ok || !std::isfinite(d))
        return std::nullopt;
    return d;
}

Check between(double low, double high, bool whole = true)
{
    return [=](const QVariant& v) {
        const std::optional<double> d = number(v);
        return d && *d >= low && *d <= high && (!whole || std::floor(*d) == *d);
    };
}

Check oneOf(std::initializer_list<int> allowed)
{
    const std::vector<int> values(allowed);
    return [values](const QVariant& v) {
        const std::optional<double> d = number(v);
        return d && std::find(values.begin(), values.end(), *d) != values.end();
    };
}

bool isBool(const QVariant& v)
{
    if (v.typeId() == QMetaType::Bool)
        return true;
    const QString text = v.toString();
    return v.typeId() == QMetaType::QString && (text == QLatin1String("true") || text == QLatin1String("false"));
}

bool isText(const QVariant& v) { return v.typeId() == QMetaType::QString; }

bool isFolderPath(const QVariant& v)
{
    return isText(v) && (v.toString().isEmpty() || QDir::isAbsolutePath(v.toString()));
}

// A stored password is its hash, never text (no password is stored as no value).
bool isPasswordHash(const QVariant& v)
{
    return v.typeId() == QMetaType::QString && platform::PasswordHash::isHash(v.toString());
}

// A map whose present keys each pass their own check.
Check mapOf(std::vector<std::pair<QString, Check>> fields)
{
    return [fields](const QVariant& v) {
        if (v.typeId() != QMetaType::QVariantMap)
            return false;
        const QVariantMap map = v.toMap();
        for (auto it = map.begin(); it != map.end(); ++it) {
            const auto field = std::find_if(fields.begin(), fields.end(), [&](const auto& f) { return f.first == it.key(); });
            if (field == fields.end() || !field->second(it.value()))
                return false;
        }
        return true;
    };
}

struct Setting {
    QString key;
    QVariant defaultValue;
    Check check;
};

const std::vector<Setting>& table()
{
    static const std::vector<Setting> settings = {
        {QStringLiteral("SortMode"), 0, between(0, 2)},
        {QStringLiteral("AutoPlayNext"), true, isBool},
        {QStringLiteral("ConverterFormat"),
         QVariantMap{{QStringLiteral("format"), 0},
                     {QStringLiteral("channels"), 2},
                     {QStringLiteral("stereomono"), 0},
                     {QStringLiteral("bits"), 16},
                     {QStringLiteral("samplerate"), 44100},
                     {QStringLiteral("bitrate"), 128000}},
         mapOf({{QStringLiteral("format"), between(0, Utils::kRecFormatCount - 1)},
                {QStringLiteral("channels"), between(1, 2)},
                {QStringLiteral("stereomono"), between(0, 2)},
                {QStringLiteral("bits"), oneOf({16, 24, 32})},
                {QStringLiteral("samplerate"), between(kMinSampleRate, kMaxSampleRate)},
                {QStringLiteral("bitrate"), between(0, kMaxBitRate)}})},
        {QStringLiteral("SnapBpm"), 0.0f, between(0, kMaxTempo, false)},
        {QStringLiteral("recording.format"), 0, between(0, Utils::kRecFormatCount - 1)},
        {QStringLiteral("recording.channels"), 2, between(1, 2)},
        {QStringLiteral("recording.bits"), 16, oneOf({16, 24, 32})},
        {QStringLiteral("recording.bitrate"), 128000, between(0, kMaxBitRate)},
        {QStringLiteral("recording.samplerate"), 44100, between(kMinSampleRate, kMaxSampleRate)},
        {QStringLiteral("recording.normalize"), true, isBool},
        {QStringLiteral("recording.autoopen"), true, isBool},
        {QStringLiteral("recording.abmonitor"), true, isBool},
        {QStringLiteral("UnzipMaxCompressionRatio"), ZipArchive::kDefaultMaxCompressionRatio,
         between(1, kMaxUnzipRatio, false)},
        {QLatin1String(platform::Locations::kLibraryFolderSetting), QString(), isFolderPath},
        {QLatin1String(GCDWebServer::kPortSetting), GCDWebServer::kDefaultPort, between(0, kMaxPort)},
        {QLatin1String(platform::HostEngine::kServerNameSetting), QString(), isText},
        {WiFiDriveSettings::kPasswordKey, QString(), isPasswordHash},
        {WiFiDriveSettings::kHttpsKey, false, isBool},
    };
    return settings;
}

// The unfinished recording ("recording.EXT") is the recovery's; everything else in our private
// temporary folder is a temporary file of some operation.
bool isUnfinishedRecording(const QString& name) { return name.startsWith(QLatin1String("recording.")); }

}  // namespace

void registerDefaults()
{
    QVariantMap defaults;
    for (const Setting& s : table()) {
        defaults.insert(s.key, s.defaultValue);
        platform::Settings::registerCheck(s.key, s.check);
    }
    platform::Settings::registerDefaults(defaults);
}

QStringList settingKeys()
{
    QStringList keys;
    for (const Setting& s : table())
        keys << s.key;
    return keys;
}

void setLibraryOverride(const QString& dir)
{
    platform::Locations::setLibraryOverride(dir);
    Utils::resetCachedLocations();
}

void removeLeftovers(const QDateTime& processStart, Sweep sweep)
{
    PartFile::removeRecordedLeftovers();
    if (sweep == Sweep::Library) {
        // Also what no record names: parts of earlier versions, or of a crash of the machine.
        const QString library = Utils::documentsURL();
        if (QFileInfo(library).isDir())
            PartFile::removeLeftovers(library, true);
        // The link to the private documents is not followed by the walk above.
        const QString documents = Utils::localDocumentsURL();
        if (QFileInfo(documents).isDir())
            PartFile::removeLeftovers(documents, true);
        // Uploads wait beside the library (inside it, the walk above took them).
        const QString uploads = WebPaths::uploadFolderFor(library);
        if (!uploads.isEmpty() && QFileInfo(uploads).isDir() && !QFileInfo(uploads).isSymLink())
            PartFile::removeLeftovers(uploads, false);
    }

    const QString temp = platform::Locations::tempDir();
    QDirIterator it(temp, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        const QString path = it.next();
        const QFileInfo info = it.fileInfo();
        if (isUnfinishedRecording(it.fileName()) || info.isSymLink() || info.lastModified() >= processStart)
            continue;
        const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOFOLLOW);
        if (fd < 0)
            continue;
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0 && QFile::remove(path))
            platform::log(QStringLiteral("Removed the leftover %1").arg(path));
        ::close(fd);
    }
}

}  // namespace Startup
