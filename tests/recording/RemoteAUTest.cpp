#include "platform/FourCC.h"
#include "platform/KeyedArchive.h"
#include "platform/Settings.h"
#include "platform/lv2/Lv2PluginInfo.h"
#include "recording/AudioEngine.h"
#include "recording/RemoteAU.h"
#include "support/TempTree.h"

#include <QDateTime>
#include <QRandomGenerator>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

std::shared_ptr<RemoteAU> unit(const QString& name, const QString& bundle, uint32_t type = RemoteAU::kEffect)
{
    auto rau = std::make_shared<RemoteAU>(
        AudioComponentDescription{type, RemoteAU::codeFor(bundle + name), RemoteAU::codeFor(bundle), 0, 0},
        "urn:" + bundle + ":" + name, name);
    rau->setBundle(bundle);
    return rau;
}

QString names(const QList<RemoteAU::Item>& items)
{
    QStringList out;
    for (const auto& item : items) {
        if (const auto* one = std::get_if<RemoteAU::Ptr>(&item)) {
            out << (*one)->name();
        } else {
            QStringList group;
            for (const auto& u : std::get<QList<RemoteAU::Ptr>>(item))
                group << u->name();
            out << "[" + group.join(',') + "]";
        }
    }
    return out.join(' ');
}

}  // namespace

TEST(RemoteAU, TypesCodesDescriptionsAndEquality)
{
    platform::lv2::PluginInfo p;
    p.uri = "http://example.org/fx";
    p.name = "Fx";
    p.bundlePath = "/usr/lib/lv2/example.lv2/";
    p.audioInputs = 2;
    EXPECT_EQ(RemoteAU::typeForPlugin(p), RemoteAU::kEffect);
    p.midiInput = true;
    EXPECT_EQ(RemoteAU::typeForPlugin(p), RemoteAU::kMusicEffect);
    p.audioInputs = 0;
    EXPECT_EQ(RemoteAU::typeForPlugin(p), RemoteAU::kInstrument);
    p.midiInput = false;
    EXPECT_EQ(RemoteAU::typeForPlugin(p), RemoteAU::kGenerator);

    // The codes depend on the URI and the bundle's folder name only, never on where it lives.
    const auto a = RemoteAU::fromPlugin(p);
    p.bundlePath = "/home/me/.lv2/example.lv2/";
    const auto b = RemoteAU::fromPlugin(p);
    EXPECT_EQ(a->description(), b->description());
    EXPECT_TRUE(a->isEqual(b.get()));
    EXPECT_TRUE(a->isSource());
    EXPECT_EQ(a->description().componentManufacturer, RemoteAU::codeFor("example.lv2"));
    for (int shift = 0; shift < 32; shift += 8) {
        const char c = char(a->description().componentSubType >> shift);
        EXPECT_TRUE(std::isalnum(uint8_t(c)));
    }
    AudioComponentDescription other = a->description();
    other.componentType = RemoteAU::kEffect;
    EXPECT_FALSE(a->matchesDesc(other));
    EXPECT_TRUE(a->matchesDescIgnoringType(other));

    // Twenty bytes, each word little-endian, and nothing else reads back.
    const AudioComponentDescription d{0x61757278, 0x41424344, 0x45464748, 7, 9};
    const QByteArray bytes = d.toBytes();
    ASSERT_EQ(bytes.size(), 20);
    EXPECT_EQ(bytes.left(4), QByteArray("xrua"));
    EXPECT_EQ(AudioComponentDescription::fromBytes(bytes), d);
    EXPECT_FALSE(AudioComponentDescription::fromBytes(bytes.left(19)));
    EXPECT_FALSE(AudioComponentDescription::fromBytes(bytes + 'x'));

    EXPECT_EQ(RemoteAU::nameForType(RemoteAU::kGenerator), "Generator");
    EXPECT_EQ(RemoteAU::nameForType(RemoteAU::kInstrument), "Instrument");
    EXPECT_EQ(RemoteAU::nameForType(RemoteAU::kMusicEffect), "Music Effect");
    EXPECT_EQ(RemoteAU::nameForType(RemoteAU::kEffect), "Effect");
}

TEST(RemoteAU, GroupsTitlesAndOrders)
{
    TempTree tree;
    const auto comp = unit("ACME Compressor (Stereo)", "acme.lv2");
    const auto comp2 = unit("ACME Compressor (Mono)", "acme.lv2");
    const auto gate = unit("ACME Gate 2", "acme.lv2");
    const auto gate10 = unit("ACME Gate 10", "other.lv2");
    const auto solo = unit("Delay", "solo.lv2");

    QList<RemoteAU::Ptr> list{solo, gate10, gate, comp, comp2};
    RemoteAU::sortRaus(list, true);
    EXPECT_EQ(names(RemoteAU::groupedRaus(list)), "[ACME Compressor (Mono),ACME Compressor (Stereo),ACME Gate 2] "
                                                  "ACME Gate 10 Delay");
    // Digit runs as numbers: 2 before 10 once the units are in one app.
    const auto gate2b = unit("ACME Gate 10", "acme.lv2");
    list = {gate2b, gate, comp};
    RemoteAU::sortRaus(list, true);
    EXPECT_EQ(names(RemoteAU::groupedRaus(list)), "[ACME Compressor (Stereo),ACME Gate 2,ACME Gate 10]");

    EXPECT_EQ(RemoteAU::commonPrefixForRAUs({comp, comp2}), "ACME Compressor");
    EXPECT_EQ(RemoteAU::commonPrefixForRAUs({comp, comp2, gate}), "ACME");
    // A parenthesised part is one word; no common word falls back to common characters.
    EXPECT_EQ(RemoteAU::commonPrefixForRAUs({unit("(Big Room) Verb", "x"), unit("(Big Room) Echo", "x")}),
              "(Big Room)");
    EXPECT_EQ(RemoteAU::commonPrefixForRAUs({unit("Reverb", "x"), unit("Resonator", "x")}), "Re");
    EXPECT_EQ(RemoteAU::commonPrefixForRAUs({unit("Alpha", "x"), unit("Beta", "x")}), "Alpha");

    // Most recently put in a slot first; units used apart are no longer one group.
    solo->markActive();
    QList<RemoteAU::Item> items = RemoteAU::groupedRaus(list);
    items.append(solo);
    RemoteAU::sortItems(items, false);
    EXPECT_EQ(names(items), "Delay [ACME Compressor (Stereo),ACME Gate 2,ACME Gate 10]");
    gate->markActive();
    RemoteAU::sortRaus(list, false);
    EXPECT_EQ(names(RemoteAU::groupedRaus(list)), "ACME Gate 2 [ACME Compressor (Stereo),ACME Gate 10]");
}

TEST(RemoteAU, KeyedArchivesReadBackAndGarbageIsRefused)
{
    const QByteArray twenty(20, 'a');
    const QByteArray archive =
        platform::KeyedArchive::write({{"root", {std::nullopt, twenty, std::nullopt, QByteArray("b")}},
                                       {"extra", {QByteArray("state")}}});
    const auto root = platform::KeyedArchive::read(archive);
    ASSERT_TRUE(root);
    ASSERT_EQ(root->size(), 4);
    EXPECT_FALSE(root->at(0));
    EXPECT_EQ(root->at(1), twenty);
    EXPECT_EQ(root->at(3), QByteArray("b"));
    EXPECT_EQ(platform::KeyedArchive::read(archive, "extra")->value(0), QByteArray("state"));
    EXPECT_FALSE(platform::KeyedArchive::read(archive, "missing"));

    // Every truncation and many random byte flips: refused or read, never a crash.
    for (qsizetype n = 0; n < archive.size(); ++n)
        platform::KeyedArchive::read(archive.left(n));
    QRandomGenerator random(42);
    for (int i = 0; i < 2000; ++i) {
        QByteArray damaged = archive;
        for (int k = 0; k < 3; ++k)
            damaged[random.bounded(int(damaged.size()))] = char(random.bounded(256));
        platform::KeyedArchive::read(damaged);
    }
    EXPECT_FALSE(platform::KeyedArchive::read("not a property list at all"));
}

TEST(RemoteAU, DownloadableListIsFetchedAtMostEvery1800SecondsAndLeavesOutWhatIsInstalled)
{
    TempTree tree;
    LogCapture logs;
    AudioEngine::refreshAUList();
    const auto overdrive = AudioEngine::findRau(QStringLiteral("http://drobilla.net/plugins/mda/Overdrive"));
    ASSERT_TRUE(overdrive);
    auto code = [](uint32_t c) { return platform::fourCCString(c); };
    const QString list = QStringLiteral(R"([
        {"name": "Installed", "type": "aurx", "subtype": "%1", "manufacturer": "%2"},
        {"name": "New Synth", "type": "auri", "subtype": "abcd", "manufacturer": "efgh", "url": "https://x/"},
        {"name": "New Fx", "type": "aurm", "subtype": "abcd", "manufacturer": "efgh"},
        {"name": "Odd", "type": "xxxx", "subtype": "abcd", "manufacturer": "efgh"},
        {"type": "aurx", "subtype": "nona", "manufacturer": "mess"}
    ])").arg(code(overdrive->description().componentSubType), code(overdrive->description().componentManufacturer));
    ASSERT_TRUE(writeFile(tree.path("nodes.json"), list.toUtf8()));
    platform::Settings::setValue("IaaNodeListURL", QUrl::fromLocalFile(tree.path("nodes.json")).toString());

    // No cached list: fetched whatever the time.
    platform::Settings::setValue("LastIaaListFetch", QDateTime::currentDateTimeUtc());
    bool done = false;
    AudioEngine::maybeFetchDownloadableIaaList([&] { done = true; });
    ASSERT_TRUE(waitUntil([&] { return done; }));
    EXPECT_TRUE(logs.contains("*** Fetched downloadable IAA node list"));
    EXPECT_TRUE(logs.contains("Installed already installed, skipping"));
    ASSERT_EQ(AudioEngine::downloadableSources().size(), 1);
    EXPECT_EQ(AudioEngine::downloadableSources()[0].toMap()["url"], "https://x/");
    ASSERT_EQ(AudioEngine::downloadableFilters().size(), 1);
    EXPECT_EQ(AudioEngine::downloadableFilters()[0].toMap()["name"], "New Fx");
    EXPECT_EQ(platform::Settings::value("LastDownloadableIaaNodeList").toList().size(), 5);

    // Younger than 1800 seconds: not again. Older: again, and a broken list keeps the old one.
    done = false;
    AudioEngine::maybeFetchDownloadableIaaList([&] { done = true; });
    ASSERT_TRUE(waitUntil([&] { return done; }));
    EXPECT_TRUE(logs.contains("*** Not fetching downloadable IAA node list"));
    platform::Settings::setValue("LastIaaListFetch", QDateTime::currentDateTimeUtc().addSecs(-1801));
    ASSERT_TRUE(writeFile(tree.path("nodes.json"), "[ {\"name\": "));
    done = false;
    AudioEngine::maybeFetchDownloadableIaaList([&] { done = true; });
    ASSERT_TRUE(waitUntil([&] { return done; }));
    const QStringList lines = logs.lines();
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(),
                            [](const QString& l) { return l.startsWith("Could not parse IAA node list"); }));
    EXPECT_EQ(AudioEngine::downloadableFilters().size(), 1);

    // The list shipped with the program names Debian's plugin packages; installed ones drop out.
    platform::Settings::remove("IaaNodeListURL");
    done = false;
    AudioEngine::fetchDownloadableIaaList([&] { done = true; });
    ASSERT_TRUE(waitUntil([&] { return done; }));
    QStringList offered;
    for (const auto& v : AudioEngine::downloadableSources() + AudioEngine::downloadableFilters())
        offered << v.toMap()["name"].toString();
    EXPECT_TRUE(offered.contains("LSP plugins"));
    EXPECT_TRUE(offered.contains("drumkv1"));
    EXPECT_FALSE(offered.contains("MDA plugins"));
    EXPECT_FALSE(offered.contains("SWH plugins"));
    EXPECT_FALSE(offered.contains("x42 plugins"));
}
