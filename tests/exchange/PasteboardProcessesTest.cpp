#include "exchange/AudioCopyPaste1.h"
#include "exchange/LibraryPasteboard.h"
#include "platform/Pasteboard.h"
#include "platform/PropertyList.h"
#include "support/AudioFixtures.h"
#include "support/BuildPaths.h"
#include "support/TempTree.h"

#include <QDir>
#include <QProcess>
#include <gtest/gtest.h>

using namespace testsupport;
namespace ACP = AudioCopyPaste1;

namespace {
const QString kTool = (testsupport::binDir() + QStringLiteral("/wavelocker-tool"));

// A shell loop of tool commands in a process of its own.
std::unique_ptr<QProcess> startLoop(const QString& script)
{
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process->start(QStringLiteral("sh"), {QStringLiteral("-c"), script, QStringLiteral("sh"), kTool});
    process->waitForStarted();
    return process;
}
}  // namespace

TEST(PasteboardProcesses, ThirteenCopiesFromTwoProcessesAdvanceTheRingThirteenTimes)
{
    TempTree tree;
    ASSERT_TRUE(writeToneWav(tree.path("A.wav"), 2, 44100, 20000));
    ASSERT_TRUE(writeToneWav(tree.path("B.wav"), 1, 44100, 30000));
    const int start = 5;
    platform::Pasteboard::withName(ACP::kIndexPasteboard, true)
        ->setItems({{{ACP::kIndexType, platform::PropertyList::xmlData({{"currentindex", start}})}}});

    auto other = startLoop(QStringLiteral("for i in 1 2 3 4 5 6 7; do \"$1\" copy '%1' >/dev/null || exit 1; done")
                               .arg(tree.path("A.wav")));
    for (int i = 0; i < 6; ++i)
        ASSERT_TRUE(LibraryPasteboard::copyToHistory(tree.path("B.wav"), LibraryPasteboard::copyMeta(tree.path("B.wav"))));
    ASSERT_TRUE(other->waitForFinished(60000));
    EXPECT_EQ(other->exitCode(), 0);
    EXPECT_EQ(ACP::getPasteIndex(), (start + 13) % 12);

    // Every slot holds one whole copy, A or B, as its info says.
    const QByteArray a = readFile(tree.path("A.wav")).mid(44), b = readFile(tree.path("B.wav")).mid(44);
    int as = 0;
    for (int slot = 0; slot < 12; ++slot) {
        const auto info = ACP::getPasteInfoForIndex(slot);
        ASSERT_TRUE(info) << slot;
        const bool isA = info->value("copyname").toString() == "A";
        as += isA;
        const QByteArray preview = ACP::getPreviewDataForPasteboardName(ACP::historyPasteboardName(slot));
        EXPECT_EQ(preview.mid(44), isA ? a : b) << slot;
    }
    EXPECT_GE(as, 6);
    EXPECT_LE(as, 7);

    // The tool lists the ring with the current slot marked.
    const RunResult listed = runProgram("wavelocker-tool", {"pasteboards"});
    EXPECT_EQ(listed.exitCode, 0);
    const QStringList lines = QString::fromUtf8(listed.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(lines.size(), 12);
    EXPECT_TRUE(lines[6].startsWith("*6\t")) << lines[6].toStdString();
    EXPECT_TRUE(lines[6].contains("\tWavelocker\t")) << lines[6].toStdString();
}

TEST(PasteboardProcesses, PastesWhileOthersCopyReadWholeFilesAndLoseNone)
{
    TempTree tree;
    const QString lib = tree.library();
    QDir().mkpath(tree.path("sources"));
    ASSERT_TRUE(writeToneWav(tree.path("sources/A.wav"), 2, 44100, (6 << 20) / 4));  // two items
    ASSERT_TRUE(writeToneWav(tree.path("sources/B.wav"), 1, 44100, 70000));
    ASSERT_TRUE(writeToneWav(tree.path("sources/C.wav"), 2, 44100, ((5 << 20) - 44) / 4));  // 5 MiB: an empty last item
    const QList<QByteArray> wholes = {readFile(tree.path("sources/A.wav")), readFile(tree.path("sources/B.wav")),
                                      readFile(tree.path("sources/C.wav"))};
    ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("sources/B.wav")));

    auto writer = startLoop(QStringLiteral("for i in $(seq 1 25); do \"$1\" copy --general '%1' >/dev/null || exit 1; "
                                           "\"$1\" copy --general '%2' >/dev/null || exit 1; done")
                                .arg(tree.path("sources/A.wav"), tree.path("sources/B.wav")));
    auto paster = startLoop(QStringLiteral("n=0; for i in $(seq 1 20); do \"$1\" paste --general --name Got >/dev/null && "
                                           "n=$((n+1)); done; exit $((20-n))"));
    while (paster->state() != QProcess::NotRunning) {
        ASSERT_TRUE(ACP::copyAudioFileAtPathToGeneralPasteboard(tree.path("sources/C.wav")));
        paster->waitForFinished(50);
    }
    ASSERT_TRUE(writer->waitForFinished(120000));
    EXPECT_EQ(writer->exitCode(), 0);
    EXPECT_EQ(paster->exitCode(), 0);  // every paste succeeded

    const QStringList pasted = QDir(lib).entryList(QDir::Files | QDir::Hidden);
    EXPECT_EQ(pasted.size(), 20);
    for (const QString& name : pasted) {
        EXPECT_TRUE(name.startsWith("Got")) << name.toStdString();
        EXPECT_TRUE(wholes.contains(readFile(lib + "/" + name))) << name.toStdString();
    }
    EXPECT_EQ(QDir(platform::Pasteboard::general()->folder()).entryList(QDir::Files | QDir::Hidden).size(), 2);
}
