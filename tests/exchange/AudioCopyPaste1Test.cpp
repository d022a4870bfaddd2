#include "exchange/AudioCopyPaste1.h"
#include "exchange/PasteWav.h"
#include "platform/Locations.h"
#include "platform/Pasteboard.h"
#include "platform/PropertyList.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QtEndian>
#include <gtest/gtest.h>

using namespace testsupport;
namespace ACP = AudioCopyPaste1;
using platform::Pasteboard;

namespace {
constexpr qint64 MiB = 1 << 20;

std::unique_ptr<platform::PasteboardSnapshot> snapshotOf(const QString& name)
{
    auto board = Pasteboard::withName(name, true);
    return board ? board->snapshot() : nullptr;
}

QList<qint64> pieceSizes(const QString& name, const QString& type)
{
    auto snapshot = snapshotOf(name);
    QList<qint64> sizes;
    for (int item : snapshot->itemsWithType(type))
        sizes << snapshot->size(item, type);
    return sizes;
}

QByteArray joinedPieces(const QString& name)
{
    auto snapshot = snapshotOf(name);
    QByteArray all;
    for (int item : snapshot->itemsWithType(ACP::kRawAudioType))
        all += snapshot->data(item, ACP::kRawAudioType);
    return all;
}

int16_t sampleAt(const QByteArray& bytes, qint64 index) { return qFromLittleEndian<int16_t>(bytes.constData() + 2 * index); }

QByteArray samples(std::initializer_list<int16_t> values)
{
    QByteArray bytes;
    for (int16_t v : values) {
        char b[2];
        qToLittleEndian(v, b);
        bytes.append(b, 2);
    }
    return bytes;
}

// A history pasteboard as another program would leave it.
void putHistory(const QString& name, int channels, const QList<QByteArray>& pieces)
{
    QList<platform::PasteboardItem> items;
    items.append({{ACP::kInfoType, platform::PropertyList::xmlData(
                                       {{"channels", channels}, {"pastedcount", qlonglong(pieces.size())}})}});
    for (const QByteArray& piece : pieces)
        items.append({{ACP::kRawAudioType, piece}});
    ASSERT_TRUE(Pasteboard::withName(name, true)->setItems(items));
}

class CountingDelegate : public ACP::AudioPaste1CallbackDelegate {
public:
    void audioPasteBlockCompleted(int64_t& offset, int64_t& numPackets, int64_t& total, int channels) override
    {
        calls.append({offset, numPackets, total, channels});
    }
    QList<std::array<int64_t, 4>> calls;
};

const QByteArray kPlistHead = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                              "<plist version=\"1.0\">\n";
}  // namespace

TEST(AudioCopyPaste1, IndexAndClearedMarkerAreXmlPropertyListsByteForByte)
{
    TempTree tree;
    ACP::initPasteBoard();
    QStringList made = QDir(platform::Locations::pasteboards()).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    EXPECT_EQ(made.size(), 14);
    EXPECT_TRUE(made.contains("com.sonomawireworks.audioCopyPasteboard11"));
    EXPECT_EQ(ACP::getPasteIndex(), 0);
    EXPECT_EQ(ACP::incrementPasteIndexAndGetPasteboardName(), "com.sonomawireworks.audioCopyPasteboard1");
    auto index = snapshotOf(ACP::kIndexPasteboard);
    ASSERT_EQ(index->count(), 1);
    EXPECT_EQ(index->types(0), QStringList({ACP::kIndexType}));
    EXPECT_EQ(index->data(0, ACP::kIndexType),
              kPlistHead + "<dict>\n\t<key>currentindex</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n");

    ACP::clearVersion1Pasteboard();
    auto v1 = snapshotOf(ACP::kVersion1Pasteboard);
    ASSERT_EQ(v1->count(), 1);
    EXPECT_EQ(v1->data(0, ACP::kClearType),
              kPlistHead + "<dict>\n\t<key>cleared</key>\n\t<integer>1</integer>\n</dict>\n</plist>\n");
    EXPECT_FALSE(ACP::getPasteInfo());

    // The ring wraps after slot 11.
    for (int i = 0; i < 11; ++i)
        ACP::incrementPasteIndex();
    EXPECT_EQ(ACP::getPasteIndex(), 0);

    // What other programs may leave in the index reads as slot 0, or as its place in the ring.
    auto board = Pasteboard::withName(ACP::kIndexPasteboard, false);
    const QList<QByteArray> odd = {"not a plist", platform::PropertyList::xmlData({{"other", 3}}),
                                   kPlistHead + "<array><integer>3</integer></array></plist>"};
    for (const QByteArray& data : odd) {
        board->setItems({{{ACP::kIndexType, data}}});
        EXPECT_EQ(ACP::getPasteIndex(), 0) << data.toStdString();
    }
    board->setItems({{{ACP::kIndexType, platform::PropertyList::xmlData({{"currentindex", 25}})}}});
    EXPECT_EQ(ACP::getPasteIndex(), 1);
}

TEST(AudioCopyPaste1, DecodingCopyCutsTwoMebibytePiecesAndKeepsTheDeclaredCount)
{
    TempTree tree;
    LogCapture log;
    const QString slot = ACP::historyPasteboardName(3);
    const QString empty = tree.path("empty.wav");
    ASSERT_TRUE(writeToneWav(empty, 2, 44100, 0));
    EXPECT_FALSE(ACP::copyAudioFileAtPath(empty, {}, slot));
    EXPECT_TRUE(log.contains("Error: AudioCopy - file of 0 bytes"));
    EXPECT_FALSE(ACP::copyAudioFileAtPath(tree.path("missing.wav"), {}, slot));
    EXPECT_TRUE(log.contains("File does not exist at path " + tree.path("missing.wav")));

    struct Case {
        qint64 frames;
        QList<qint64> pieces;
    };
    const QList<Case> cases = {
        {1, {4}},
        {2 * MiB / 4, {2 * MiB, 0}},
        {4 * MiB / 4, {2 * MiB, 2 * MiB, 0}},
        {11 * MiB / 4, {2 * MiB, 2 * MiB, 2 * MiB, 2 * MiB, 2 * MiB, 1 * MiB}},
    };
    for (const Case& c : cases) {
        const QString wav = tree.path(QStringLiteral("s%1.wav").arg(c.frames));
        ASSERT_TRUE(writeToneWav(wav, 2, 44100, c.frames));
        ASSERT_TRUE(ACP::copyAudioFileAtPath(wav, {{"copyname", "Take"}, {"sender", "Test"}, {"tempo", 120}}, slot));
        auto snapshot = snapshotOf(slot);
        ASSERT_EQ(snapshot->count(), c.pieces.size() + 1);
        EXPECT_EQ(snapshot->types(0), QStringList({ACP::kInfoType}));
        EXPECT_EQ(pieceSizes(slot, ACP::kRawAudioType), c.pieces) << c.frames;
        EXPECT_EQ(joinedPieces(slot), readFile(wav).mid(44)) << c.frames;
        const auto info = ACP::getPasteInfoWithPasteboardName(slot);
        ASSERT_TRUE(info);
        EXPECT_EQ(info->value("pastedcount").toInt(), c.pieces.size());
        EXPECT_EQ(info->value("channels").toInt(), 2);
        EXPECT_EQ(info->value("copyname").toString(), "Take");
        EXPECT_EQ(info->value("sender").toString(), "Test");
        EXPECT_EQ(info->value("tempo").toInt(), 120);
        EXPECT_NEAR(info->value("duration").toDouble(), c.frames / 44100.0, 1e-4);
    }
    // The info is an XML property list with the duration as a real.
    const QByteArray xml = snapshotOf(slot)->data(0, ACP::kInfoType);
    EXPECT_TRUE(xml.startsWith(kPlistHead + "<dict>\n")) << xml.toStdString();
    EXPECT_TRUE(xml.contains("<key>duration</key>\n\t<real>"));

    // 48 kHz 24-bit mono is converted, with the default metadata.
    const QString hi = tree.path("hi.wav");
    ASSERT_TRUE(writeToneWav(tree.path("src.wav"), 1, 48000, 48000));
    ASSERT_TRUE(runTool("sox", {tree.path("src.wav"), "-b", "24", hi}));
    ASSERT_TRUE(ACP::copyAudioFileAtPath(hi, {}, slot));
    EXPECT_EQ(pieceSizes(slot, ACP::kRawAudioType), QList<qint64>({44100 * 2}));
    const auto info = ACP::getPasteInfoWithPasteboardName(slot);
    EXPECT_EQ(info->value("copyname").toString(), "AudioCopy");
    EXPECT_EQ(info->value("sender").toString(), "Unknown");
    EXPECT_EQ(info->value("channels").toInt(), 1);
    const QByteArray converted = joinedPieces(slot);
    EXPECT_NEAR(sampleAt(converted, 100), toneSample(100, 0, 44100), 40);
    // Every copy marks the version-1 slot stale.
    EXPECT_EQ(snapshotOf(ACP::kVersion1Pasteboard)->types(0), QStringList({ACP::kClearType}));
}

TEST(AudioCopyPaste1, MappedCopyRefusesInItsOrderAndCarriesEverythingAfterTheDataHeader)
{
    TempTree tree;
    LogCapture log;
    const QString slot = ACP::historyPasteboardName(5);
    ASSERT_TRUE(writeToneWav(tree.path("48k.wav"), 2, 48000, 1000));
    ASSERT_TRUE(runTool("sox", {tree.path("48k.wav"), "-b", "24", tree.path("48k24.wav")}));
    ASSERT_TRUE(writeToneWav(tree.path("44k.wav"), 2, 44100, 1000));
    ASSERT_TRUE(runTool("sox", {tree.path("44k.wav"), "-b", "24", tree.path("44k24.wav")}));
    ASSERT_TRUE(runTool("sox", {tree.path("44k.wav"), tree.path("44k.aiff")}));
    const QList<std::pair<QString, QString>> refusals = {
        {"missing.wav", "File does not exist at path " + tree.path("missing.wav") + "\n"},
        {"44k.aiff", "AudioCopy only supports WAV files\n"},
        {"48k24.wav", "AudioCopy only supports the 44100.0f sample rate\n"},
        {"44k24.wav", "AudioCopy only supports 16-bit audio\n"},
    };
    for (const auto& [file, message] : refusals) {
        EXPECT_FALSE(ACP::copyMappedAudioFileAtPath(tree.path(file), {}, slot));
        EXPECT_TRUE(log.contains(message)) << message.toStdString();
    }
    EXPECT_EQ(snapshotOf(slot)->count(), 0);

    // An odd-sized chunk before the samples (one pad byte) and a chunk after them.
    QByteArray data = samples({1, -2, 3, -4});
    QByteArray wav = readFile(tree.path("44k.wav")).left(36);
    wav += QByteArray("junk") + QByteArray::fromHex("03000000") + "abc" + '\0';
    wav += QByteArray("data") + QByteArray::fromHex("08000000") + data;
    wav += QByteArray("LIST") + QByteArray::fromHex("04000000") + "INFO";
    qToLittleEndian<uint32_t>(uint32_t(wav.size() - 8), wav.data() + 4);
    writeFile(tree.path("odd.wav"), wav);
    EXPECT_EQ(PasteWav::getDataOffset(wav.constData(), wav.size()), 36 + 12 + 8);
    EXPECT_TRUE(log.contains("we found the data chunk with size = 8\n"));
    EXPECT_EQ(PasteWav::getDataOffset(wav.constData(), 40), -1);  // never past the image
    ASSERT_TRUE(ACP::copyMappedAudioFileAtPath(tree.path("odd.wav"), {}, slot));
    EXPECT_EQ(joinedPieces(slot), data + "LIST" + QByteArray::fromHex("04000000") + "INFO");
    EXPECT_EQ(ACP::getPasteInfoWithPasteboardName(slot)->value("pastedcount").toInt(), 1);

    // Exactly 2 MiB of samples: one piece declared, an empty second one travels.
    ASSERT_TRUE(writeToneWav(tree.path("2m.wav"), 1, 44100, MiB));
    ASSERT_TRUE(ACP::basicCopyMappedAudioFileAtPath(tree.path("2m.wav")));
    const QString current = ACP::historyPasteboardName(ACP::getPasteIndex());
    EXPECT_EQ(current, ACP::historyPasteboardName(1));
    EXPECT_EQ(pieceSizes(current, ACP::kRawAudioType), QList<qint64>({2 * MiB, 0}));
    const auto info = ACP::getMostRecentPasteInfo();
    EXPECT_EQ(info->value("pastedcount").toInt(), 1);
    EXPECT_EQ(info->value("copyname").toString(), "AudioCopy");
    EXPECT_FLOAT_EQ(info->value("duration").toFloat(), float(MiB / 44100.0));
    EXPECT_EQ(joinedPieces(current), readFile(tree.path("2m.wav")).mid(44));
}

TEST(AudioCopyPaste1, GeneralPasteboardCarriesTheFileInFiveMebibyteItems)
{
    TempTree tree;
    EXPECT_FALSE(ACP::hasGeneralPasteboardData());
    QByteArray file(11 * MiB, Qt::Uninitialized);
    for (qint64 i = 0; i < file.size(); ++i)
        file[i] = char(i * 7 + i / 5000);
    writeFile(tree.path("big.bin"), file);
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("big.bin")));
    EXPECT_TRUE(ACP::hasGeneralPasteboardData());
    EXPECT_EQ(pieceSizes("general", "public.audio"), QList<qint64>({5 * MiB, 5 * MiB, 1 * MiB}));
    auto snapshot = snapshotOf("general");
    EXPECT_EQ(snapshot->data(0, "public.audio") + snapshot->data(1, "public.audio") + snapshot->data(2, "public.audio"),
              file);

    writeFile(tree.path("five.bin"), file.left(5 * MiB));
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("five.bin")));
    EXPECT_EQ(pieceSizes("general", "public.audio"), QList<qint64>({5 * MiB, 0}));
    writeFile(tree.path("zero.bin"), "");
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("zero.bin")));
    EXPECT_EQ(pieceSizes("general", "public.audio"), QList<qint64>({0}));
    LogCapture log;
    EXPECT_FALSE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("none.bin")));
    EXPECT_TRUE(log.contains("File does not exist at path " + tree.path("none.bin") + "\n"));
    EXPECT_EQ(pieceSizes("general", "public.audio"), QList<qint64>({0}));
}

TEST(AudioCopyPaste1, PasteIntoFilesConvertsChannelsAtTheOffsetWithTruncation)
{
    TempTree tree;
    const QString slot = ACP::historyPasteboardName(2);
    const QByteArray mono = samples({1000, -1000, 32767, -32768, -3, 3, 0, 1});
    putHistory(slot, 1, {mono.left(6), mono.mid(6)});

    // Mono into stereo at frame 100: from byte 400 on, each sample at 0.707, truncated.
    const QString stereo = tree.path("stereo.wav");
    ASSERT_TRUE(writeWav16(stereo, 2, 44100, 150, [](int64_t f, int c) { return int16_t(f * 2 + c); }));
    const QByteArray before = readFile(stereo);
    CountingDelegate delegate;
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(slot, QStringList{stereo}, 1, 100, &delegate));
    const QByteArray after = readFile(stereo);
    EXPECT_EQ(after.left(44 + 400).mid(44), before.left(44 + 400).mid(44));
    const QList<int16_t> expected = {707, -707, 23166, -23166, -2, 2, 0, 0};
    for (int i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(sampleAt(after.mid(44), 200 + 2 * i), expected[i]) << i;
        EXPECT_EQ(sampleAt(after.mid(44), 200 + 2 * i + 1), expected[i]) << i;
    }
    EXPECT_EQ(after.mid(44 + 400 + 32), before.mid(44 + 400 + 32));  // the rest as it was
    EXPECT_EQ(after.size(), before.size());
    ASSERT_EQ(delegate.calls.size(), 1);  // the pieces arrive as one block of the gathered file
    EXPECT_EQ(delegate.calls[0], (std::array<int64_t, 4>{100, 8, 150, 1}));
    EXPECT_FALSE(QFile::exists(tree.path("stereopastetemp.wav")));

    // Stereo into one mono file: each half truncated before the sum; the file grows.
    const QString stereoSlot = ACP::historyPasteboardName(4);
    putHistory(stereoSlot, 2, {samples({3, 3, -3, -1, 101, -100})});
    const QString monoFile = tree.path("mono.wav");
    ASSERT_TRUE(writeWav16(monoFile, 1, 44100, 2, [](int64_t, int) { return int16_t(9); }));
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(stereoSlot, QStringList{monoFile}, 1, 1, nullptr));
    EXPECT_EQ(readFile(monoFile).mid(44), samples({9, 2, -1, 0}));
    EXPECT_EQ(qFromLittleEndian<uint32_t>(readFile(monoFile).constData() + 40), 8u);
    EXPECT_EQ(qFromLittleEndian<uint32_t>(readFile(monoFile).constData() + 4), 44u);

    // Stereo into two mono files: left to the first, right to the second.
    const QString left = tree.path("L.wav"), right = tree.path("R.wav");
    ASSERT_TRUE(writeWav16(left, 1, 44100, 1, [](int64_t, int) { return int16_t(7); }));
    ASSERT_TRUE(writeWav16(right, 1, 44100, 1, [](int64_t, int) { return int16_t(8); }));
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(stereoSlot, {left, right}, 1, 1, nullptr));
    EXPECT_EQ(readFile(left).mid(44), samples({7, 3, -3, 101}));
    EXPECT_EQ(readFile(right).mid(44), samples({8, 3, -1, -100}));
}

TEST(AudioCopyPaste1, LoopCountRepeatsTheMaterialAndTellsTheDelegatePerBlockPerLoop)
{
    TempTree tree;
    const QString slot = ACP::historyPasteboardName(0);
    const qint64 frames = 1200000;  // two blocks of the gathered file
    QByteArray mono(frames * 2, Qt::Uninitialized);
    for (qint64 i = 0; i < frames; ++i)
        qToLittleEndian<int16_t>(int16_t(i % 30011), mono.data() + 2 * i);
    putHistory(slot, 1, {mono.left(2 * MiB), mono.mid(2 * MiB)});
    const QString dest = tree.path("Take.wav");
    ASSERT_TRUE(writeWav16(dest, 1, 44100, 10, [](int64_t, int) { return int16_t(-5); }));
    CountingDelegate delegate;
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(slot, QStringList{dest}, 3, 10, &delegate));
    const QByteArray data = readFile(dest).mid(44);
    EXPECT_EQ(data.size(), 20 + 3 * mono.size());
    EXPECT_EQ(data.mid(20), mono + mono + mono);
    ASSERT_EQ(delegate.calls.size(), 6);
    EXPECT_EQ(delegate.calls[0], (std::array<int64_t, 4>{10, MiB, 10, 1}));
    EXPECT_EQ(delegate.calls[1], (std::array<int64_t, 4>{10 + MiB, frames - MiB, 10, 1}));
    EXPECT_EQ(delegate.calls[5][0], 10 + 2 * frames + MiB);

    // No loop at all: nothing written, the file as it was, success.
    const QByteArray kept = readFile(dest);
    EXPECT_TRUE(ACP::pasteAudioFileFromPasteboard(slot, QStringList{dest}, 0, 0, nullptr));
    EXPECT_EQ(readFile(dest), kept);
}

TEST(AudioCopyPaste1, AShortVersionOnePasteboardOrAGeneralOneLeavesOrFillsTheDestination)
{
    TempTree tree;
    LogCapture log;
    const QString dest = tree.path("Take.wav");
    ASSERT_TRUE(writeWav16(dest, 1, 44100, 4, [](int64_t f, int) { return int16_t(f); }));
    const QByteArray before = readFile(dest);
    QList<platform::PasteboardItem> items = {
        {{ACP::kInfoType, platform::PropertyList::xmlData({{"channels", 1}, {"pastedcount", 4}})}}};
    for (int n = 0; n < 3; ++n)
        items.append({{ACP::kRawAudioType + QString::number(n), samples({int16_t(100 + n)})}});
    Pasteboard::withName(ACP::kVersion1Pasteboard, true)->setItems(items);
    EXPECT_FALSE(ACP::pasteAudioFileFromPasteboard(ACP::kVersion1Pasteboard, QStringList{dest}, 1, 0, nullptr));
    EXPECT_TRUE(log.contains("Paste data doesn't match paste count!"));
    EXPECT_EQ(readFile(dest), before);
    EXPECT_EQ(ACP::getDataForIndexWithPasteboardName(2, ACP::kVersion1Pasteboard), samples({102}));
    EXPECT_TRUE(ACP::getDataForIndexWithPasteboardName(3, ACP::kVersion1Pasteboard).isNull());

    // With the fourth piece the pieces go in by number.
    items.append({{ACP::kRawAudioType + "3", samples({103})}});
    Pasteboard::withName(ACP::kVersion1Pasteboard, true)->setItems(items);
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(ACP::kVersion1Pasteboard, QStringList{dest}, 1, 2, nullptr));
    EXPECT_EQ(readFile(dest).mid(44), samples({0, 1, 100, 101, 102, 103}));
    EXPECT_EQ(ACP::getPreviewDataForPasteboardName(ACP::kVersion1Pasteboard),
              PasteWav::createHeader(1, 8) + samples({100, 101, 102, 103}));

    // A whole WAV file on the general pasteboard, named in any case.
    ASSERT_TRUE(writeWav16(tree.path("g.wav"), 1, 44100, 2, [](int64_t f, int) { return int16_t(50 + f); }));
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("g.wav")));
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard("GeneralPasteboard", QStringList{dest}, 2, 5, nullptr));
    EXPECT_EQ(readFile(dest).mid(44), samples({0, 1, 100, 101, 102, 50, 51, 50, 51}));
    // Garbage there: the failure is logged, the file untouched.
    const QByteArray kept = readFile(dest);
    Pasteboard::general()->setItems({{{"public.audio", "not audio at all"}}});
    EXPECT_FALSE(ACP::pasteAudioFileFromGeneralPasteboard(QStringList{dest}, 1, 0, nullptr));
    EXPECT_TRUE(log.contains("Failed open audio file for general pasteboard\n"));
    EXPECT_EQ(readFile(dest), kept);
    EXPECT_EQ(QDir(tree.path("")).entryList({"*pastetemp*"}).size(), 0);
}

TEST(AudioCopyPaste1, HistoryPasteWritesANewWavFileAndPreviewTheSameBytes)
{
    TempTree tree;
    LogCapture log;
    const QString slot = ACP::historyPasteboardName(7);
    putHistory(slot, 2, {samples({1, 2, 3, 4}), samples({5, 6})});
    const QByteArray expected = PasteWav::createHeader(2, 12) + samples({1, 2, 3, 4, 5, 6});
    ASSERT_TRUE(ACP::pasteAudioFileFromPasteboard(slot, tree.path("new.wav")));
    EXPECT_EQ(readFile(tree.path("new.wav")), expected);
    EXPECT_EQ(ACP::getPreviewDataForPasteboardName(slot), expected);
    // Never over an existing file.
    EXPECT_FALSE(ACP::pasteAudioFileFromPasteboard(slot, tree.path("new.wav")));
    EXPECT_EQ(readFile(tree.path("new.wav")), expected);
    EXPECT_FALSE(ACP::pasteAudioFileFromPasteboard("no.such.board", tree.path("other.wav")));
    EXPECT_TRUE(log.contains("No pasteboard with name no.such.board\n"));

    // The header: 44 bytes, little-endian, 16-bit 44.1 kHz.
    EXPECT_EQ(PasteWav::createHeader(2, 1000).toHex(),
              "52494646" "0c040000" "57415645666d7420" "10000000" "0100" "0200" "44ac0000" "10b10200" "0400" "1000"
              "64617461" "e8030000");
}
