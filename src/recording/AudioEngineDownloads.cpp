// The list of units one could install: fetched now and then from a configurable address
// (by default the list shipped with the program), kept in the settings, and narrowed to the
// entries whose plugins are not installed.
#include "platform/Background.h"
#include "platform/Log.h"
#include "platform/Settings.h"
#include "platform/UrlFetch.h"
#include "recording/AudioEngine.h"
#include "recording/RemoteAU.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QJsonDocument>
#include <QJsonParseError>
#include <optional>

namespace AudioEngine {
namespace {

constexpr const char* kNodeListKey = "LastDownloadableIaaNodeList";
constexpr const char* kLastFetchKey = "LastIaaListFetch";
constexpr const char* kNodeListUrlKey = "IaaNodeListURL";
constexpr const char* kDefaultNodeListUrl = "qrc:/recording/iaa_nodes.json";
constexpr int kFetchIntervalSeconds = 1800;

QVariantList gNodes;
QVariantList gSources;
QVariantList gFilters;

uint32_t code(const QVariant& value)
{
    const QByteArray text = value.toString().toLatin1();
    if (text.size() != 4)
        return 0;
    return uint32_t(uint8_t(text[0])) << 24 | uint32_t(uint8_t(text[1])) << 16 | uint32_t(uint8_t(text[2])) << 8 |
           uint32_t(uint8_t(text[3]));
}

}  // namespace

AudioComponentDescription descriptionOfNode(const QVariantMap& entry)
{
    return {code(entry.value(QStringLiteral("type"))), code(entry.value(QStringLiteral("subtype"))),
            code(entry.value(QStringLiteral("manufacturer"))), 0, 0};
}

QString downloadableListUrl()
{
    const QString url = platform::Settings::value(QLatin1String(kNodeListUrlKey)).toString();
    return url.isEmpty() ? QLatin1String(kDefaultNodeListUrl) : url;
}

void loadDownloadableIaaList() { gNodes = platform::Settings::value(QLatin1String(kNodeListKey)).toList(); }

void maybeFetchDownloadableIaaList(std::function<void()> done)
{
    platform::log(QStringLiteral("*** Checking if it's time to update IAA node list..."));
    const QDateTime last = platform::Settings::value(QLatin1String(kLastFetchKey)).toDateTime();
    if (!gNodes.isEmpty() && last.isValid() &&
        QDateTime::currentDateTimeUtc() <= last.addSecs(kFetchIntervalSeconds)) {
        platform::log(QStringLiteral("*** Not fetching downloadable IAA node list"));
        if (done)
            done();
        return;
    }
    fetchDownloadableIaaList(std::move(done));
}

void fetchDownloadableIaaList(std::function<void()> done)
{
    platform::log(QStringLiteral("*** Fetching downloadable IAA node list..."));
    const QUrl url(downloadableListUrl());
    // The fetch and parse in the background; the list is taken on the main thread.
    platform::runInBackground(
        QCoreApplication::instance(),
        [url]() -> std::optional<QVariantList> {
            QString error;
            const auto data = platform::fetchUrl(url, &error);
            if (!data) {
                platform::log(QStringLiteral("Could not fetch IAA node list %1").arg(error));
                return std::nullopt;
            }
            QJsonParseError parseError{};
            const QJsonDocument json = QJsonDocument::fromJson(*data, &parseError);
            if (parseError.error != QJsonParseError::NoError || !json.isArray()) {
                platform::log(QStringLiteral("Could not parse IAA node list %1")
                                  .arg(parseError.error != QJsonParseError::NoError ? parseError.errorString()
                                                                                    : QStringLiteral("(not a list)")));
                return std::nullopt;
            }
            return json.toVariant().toList();
        },
        [done](const std::optional<QVariantList>& nodes) {
            if (nodes) {
                platform::log(QStringLiteral("*** Fetched downloadable IAA node list"));
                gNodes = *nodes;
                platform::Settings::setValue(QLatin1String(kNodeListKey), *nodes);
                platform::Settings::setValue(QLatin1String(kLastFetchKey), QDateTime::currentDateTimeUtc());
                platform::Settings::sync();
                selectDownloadableNodes();
            }
            if (done)
                done();
        });
}

bool containsRAUWithACD(const QList<std::shared_ptr<RemoteAU>>& list, const AudioComponentDescription& description)
{
    for (const auto& rau : list)
        if (rau->matchesDesc(description))
            return true;
    return false;
}

void selectDownloadableNodes()
{
    platform::log(QStringLiteral("Checking installed Orvenic IAA apps..."));
    gSources.clear();
    gFilters.clear();
    const auto sources = remoteSources();
    const auto filters = remoteFilters();
    for (const QVariant& node : std::as_const(gNodes)) {
        const QVariantMap entry = node.toMap();
        const QString name = entry.value(QStringLiteral("name")).toString();
        if (name.isEmpty())
            continue;
        const AudioComponentDescription d = descriptionOfNode(entry);
        const bool isSource = d.componentType == RemoteAU::kGenerator || d.componentType == RemoteAU::kInstrument;
        const bool isFilter = d.componentType == RemoteAU::kMusicEffect || d.componentType == RemoteAU::kEffect;
        if (!isSource && !isFilter)
            continue;
        if (containsRAUWithACD(isSource ? sources : filters, d)) {
            platform::log(QStringLiteral("%1 already installed, skipping").arg(name));
            continue;
        }
        platform::log(QStringLiteral("%1 not installed, adding it").arg(name));
        (isSource ? gSources : gFilters).append(entry);
    }
}

QVariantList downloadableSources() { return gSources; }
QVariantList downloadableFilters() { return gFilters; }

}  // namespace AudioEngine
