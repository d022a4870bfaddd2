#include "library/Utils.h"
#include "platform/Settings.h"
#include "recording/Recorder.h"
#include "recording/RecordingSettings.h"
#include "recording/TakeDelivery.h"
#include "support/DecodedAudio.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <gtest/gtest.h>
#include <algorithm>
#include <cmath>

namespace {

QString makeTake(testsupport::TempTree& tree, float level)
{
    const QString path = tree.path(QStringLiteral("recording.wav"));
    std::vector<float> samples(4410 * 2);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = level * std::sin(float(i) * 0.05f);
    EXPECT_TRUE(testsupport::writeFloatWav(path, 44100, 2, samples));
    return path;
}

float peakOf(const QString& path)
{
    const auto audio = testsupport::decodeFile(path);
    float peak = 0;
    for (const float v : audio.samples)
        peak = std::max(peak, std::fabs(v));
    return peak;
}

}  // namespace

// The take is named from the suggested name ("/" -> "_"), made unique, normalized in place or
// moved as it is, and remembered for opening.
TEST(TakeDelivery, NamesNormalizesMovesAndRemembers)
{
    testsupport::TempTree tree;
    const QString folder = tree.library() + QStringLiteral("/Band");
    ASSERT_TRUE(QDir().mkpath(folder));
    ASSERT_TRUE(testsupport::writeFile(folder + QStringLiteral("/Bass_Amp.wav"), "taken"));
    EXPECT_EQ(TakeDelivery::targetPath(folder, QStringLiteral("Bass/Amp"), QStringLiteral("wav")),
              folder + QStringLiteral("/Bass_Amp(1).wav"));

    QStringList progress;
    QString delivered;
    bool opened = false;
    TakeDelivery::Hooks hooks;
    hooks.progress = [&](const QString& m) { progress << m; };
    hooks.delivered = [&](const QString& path, bool autoOpen) {
        delivered = path;
        opened = autoOpen;
    };
    QObject context;
    Utils::clearLastNewFile();
    auto done = TakeDelivery::doneBlock(folder, &context, hooks);
    const QString take = makeTake(tree, 0.25f);
    done(true, take, QStringLiteral("Bass/Amp"));
    ASSERT_TRUE(testsupport::waitUntil([&] { return !delivered.isEmpty(); }, 30000));
    EXPECT_EQ(delivered, folder + QStringLiteral("/Bass_Amp(1).wav"));
    EXPECT_EQ(progress, (QStringList{"Normalizing", "Normalized"}));
    EXPECT_TRUE(opened);
    EXPECT_EQ(Utils::lastNewFile(), delivered);
    EXPECT_FALSE(QFile::exists(take));
    EXPECT_NEAR(peakOf(delivered), 1.0f, 1e-3);
    EXPECT_EQ(testsupport::readFile(folder + QStringLiteral("/Bass_Amp.wav")), "taken");

    // Normalize and auto-open off: moved as recorded, not remembered.
    RecordingSettings s = RecordingSettings::current();
    s.normalize = false;
    s.autoopen = false;
    s.store();
    Utils::clearLastNewFile();
    delivered.clear();
    progress.clear();
    done(true, makeTake(tree, 0.25f), QStringLiteral("Bass/Amp"));
    EXPECT_EQ(delivered, folder + QStringLiteral("/Bass_Amp(2).wav"));
    EXPECT_TRUE(progress.isEmpty());
    EXPECT_FALSE(opened);
    EXPECT_TRUE(Utils::lastNewFile().isEmpty());
    EXPECT_NEAR(peakOf(delivered), 0.25f, 1e-3);

    // A folder that is gone: the take stays where it was, for the next start to recover.
    QString failure;
    hooks.failed = [&](const QString& e) { failure = e; };
    const QString stays = makeTake(tree, 0.25f);
    TakeDelivery::deliver(tree.path(QStringLiteral("gone")), true, stays, QStringLiteral("x"), &context, hooks);
    EXPECT_FALSE(failure.isEmpty());
    EXPECT_TRUE(QFile::exists(stays));
}

// openAndToggleRecorder opens the recorder through the library's opener only when there is
// none; without a way to open one it does nothing.
TEST(RecorderLauncher, OpensOnlyWhenNoRecorderIsThere)
{
    testsupport::TempTree tree;
    testsupport::AlertCapture alerts;
    RecorderLauncher::setOpener({});
    EXPECT_FALSE(RecorderLauncher::openAndToggleRecorder());
    int opened = 0;
    std::unique_ptr<Recorder> recorder;
    RecorderLauncher::setOpener([&] {
        ++opened;
        recorder = std::make_unique<Recorder>();
        recorder->attach();
        return recorder.get();
    });
    // No audio engine here: REC can't start, which the user is told.
    EXPECT_TRUE(RecorderLauncher::openAndToggleRecorder());
    EXPECT_EQ(Recorder::currentRecorder(), recorder.get());
    EXPECT_TRUE(RecorderLauncher::openAndToggleRecorder());
    EXPECT_EQ(opened, 1);
    EXPECT_EQ(alerts.alerts(), (QStringList{"Sorry|Could not start recording", "Sorry|Could not start recording"}));
    recorder.reset();
    EXPECT_EQ(Recorder::currentRecorder(), nullptr);
    RecorderLauncher::setOpener({});
}
