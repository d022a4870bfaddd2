#pragma once
#include <QByteArray>
#include <QList>
#include <QString>
#include <cstdint>
#include <memory>
#include <optional>
#include <variant>

namespace platform::lv2 {
struct PluginInfo;
}

// Type, subtype, manufacturer (four-character codes), flags and mask; 20 bytes in this order
// (each word little-endian) is how setups store it.
struct AudioComponentDescription {
    uint32_t componentType = 0;
    uint32_t componentSubType = 0;
    uint32_t componentManufacturer = 0;
    uint32_t componentFlags = 0;
    uint32_t componentFlagsMask = 0;

    static constexpr int kBytes = 20;
    QByteArray toBytes() const;
    // Exactly 20 bytes, or nothing.
    static std::optional<AudioComponentDescription> fromBytes(const QByteArray& bytes);
    bool operator==(const AudioComponentDescription&) const = default;
};

// One plugin unit, installed or named by a setup or the downloadable list. Its component is
// the plugin's URI (empty for a unit that is not installed); "one app" is one bundle.
class RemoteAU {
public:
    static constexpr uint32_t kGenerator = 0x61757267;   // 'aurg'
    static constexpr uint32_t kInstrument = 0x61757269;  // 'auri'
    static constexpr uint32_t kMusicEffect = 0x6175726d; // 'aurm'
    static constexpr uint32_t kEffect = 0x61757278;      // 'aurx'

    RemoteAU(AudioComponentDescription description, QString component, QString name);
    // An installed plugin: its type from its ports and class, codes from its URI and bundle.
    static std::shared_ptr<RemoteAU> fromPlugin(const platform::lv2::PluginInfo& plugin);
    // The type a plugin is listed as, from what it takes in.
    static uint32_t typeForPlugin(const platform::lv2::PluginInfo& plugin);
    // A stable four-character code (letters and digits) for a text.
    static uint32_t codeFor(const QString& text);

    const AudioComponentDescription& description() const { return mDescription; }
    const QString& component() const { return mComponent; }
    const QString& name() const { return mName; }
    // The bundle the plugin came in; units of one bundle belong to one app.
    const QString& bundle() const { return mBundle; }
    void setBundle(const QString& bundle) { mBundle = bundle; }
    // A picture file the bundle ships, or a resource name ("iaa_file") for our own entries;
    // screens draw one from the name when neither is there.
    const QString& image() const { return mImage; }
    void setImage(const QString& image) { mImage = image; }

    bool isFilter() const;
    bool isSource() const { return !isFilter(); }
    bool matchesDesc(const AudioComponentDescription& d) const;
    bool matchesDescIgnoringType(const AudioComponentDescription& d) const;
    bool isEqual(const RemoteAU* other) const;

    // When this unit was last put in a slot here (seconds since the epoch; 0 never).
    double lastActiveTime() const;
    void markActive() const;

    static QString nameForType(uint32_t type);

    // A chooser row: one unit, or the units of one app.
    using Ptr = std::shared_ptr<RemoteAU>;
    using Item = std::variant<Ptr, QList<Ptr>>;
    static QList<Item> groupedRaus(const QList<Ptr>& sorted);
    static QString commonPrefixForRAUs(const QList<Ptr>& units);
    // By name (case-insensitive, digit runs as numbers) or most recently active first.
    static void sortRaus(QList<Ptr>& units, bool byName);
    static void sortItems(QList<Item>& items, bool byName);

private:
    AudioComponentDescription mDescription;
    QString mComponent;
    QString mName;
    QString mBundle;
    QString mImage;
};
