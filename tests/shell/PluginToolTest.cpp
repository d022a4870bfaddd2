// The plugin commands of the tool, against Debian's own plugins and a reference LV2 host
// (lv2file, which runs a plugin over a file in blocks of a given size).
#include "support/BuildPaths.h"
#include "support/DecodedAudio.h"
#include "support/PlaybackFixtures.h"
#include "support/TempTree.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <cmath>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {

const QString kOverdrive = QStringLiteral("http://drobilla.net/plugins/mda/Overdrive");
const QString kDelay = QStringLiteral("http://drobilla.net/plugins/mda/Delay");
const QString kAmp = QStringLiteral("http://plugin.org.uk/swh-plugins/amp");  // mono: one instance a channel
const QString kJx10 = QStringLiteral("http://drobilla.net/plugins/mda/JX10");
const QString kCrash = QStringLiteral("urn:wavelocker:test:crash");

// A second of stereo with different music on each side, so a swapped or shared channel shows.
std::vector<float> testSignal(int frames)
{
    std::vector<float> s(size_t(frames) * 2);
    uint32_t noise = 12345;
    for (int i = 0; i < frames; ++i) {
        noise = noise * 1664525u + 1013904223u;
        s[size_t(2 * i)] = 0.5f * std::sin(float(i) * 0.0627f) + 0.1f * (float(noise >> 8) / 16777216.0f - 0.5f);
        s[size_t(2 * i + 1)] = 0.4f * std::sin(float(i) * 0.0191f + 1.0f);
    }
    return s;
}

// lv2file over a file, in blocks of 512 frames.
bool reference(const QString& in, const QString& out, const QString& uri, const QStringList& settings)
{
    QStringList args{QStringLiteral("-b"), QStringLiteral("512"), QStringLiteral("-i"), in, QStringLiteral("-o"), out};
    for (const QString& s : settings)
        args << QStringLiteral("-p") << s;
    args << uri;
    QProcess p;
    p.start(QStringLiteral("lv2file"), args);
    return p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit && p.exitCode() == 0;
}

int firstDifference(const DecodedAudio& a, const DecodedAudio& b)
{
    if (a.samples.size() != b.samples.size())
        return -2;
    for (size_t i = 0; i < a.samples.size(); ++i)
        if (a.samples[i] != b.samples[i])
            return int(i);
    return -1;
}

}  // namespace

TEST(PluginTool, ProcessMatchesTheReferenceHostSampleForSample)
{
    TempTree tree;
    const QString in = tree.path("in.wav");
    ASSERT_TRUE(writeFloatWav(in, 44100, 2, testSignal(44100 + 300)));  // ends on a short block

    // One stereo effect with a setting.
    RunResult r = runProgram("wavelocker-tool", {"process", in, tree.path("od.wav"), "--effect", kOverdrive, "--set",
                                                 kOverdrive + ":drive=0.7", "--set", kOverdrive + ":muffle=0.3"});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.trimmed(), tree.path("od.wav").toUtf8());
    ASSERT_TRUE(reference(in, tree.path("od-ref.wav"), kOverdrive, {"drive:0.7", "muffle:0.3"}));
    const DecodedAudio ours = decodeFile(tree.path("od.wav"));
    EXPECT_EQ(ours.channels, 2);
    EXPECT_EQ(firstDifference(ours, decodeFile(tree.path("od-ref.wav"))), -1);
    EXPECT_NE(firstDifference(ours, decodeFile(in)), -1);  // it did change the sound

    // Three effects in order, the last a mono one run once a channel, equal to the reference
    // run three times (the mono one on each channel alone).
    r = runProgram("wavelocker-tool", {"process", in, tree.path("chain.wav"), "--effect", kOverdrive, "--effect", kDelay,
                                       "--effect", kAmp, "--set", kAmp + ":gain=-6"});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    ASSERT_TRUE(reference(in, tree.path("r1.wav"), kOverdrive, {}));
    ASSERT_TRUE(reference(tree.path("r1.wav"), tree.path("r2.wav"), kDelay, {}));
    const DecodedAudio r2 = decodeFile(tree.path("r2.wav"));
    std::vector<float> joined(r2.samples.size());
    for (int c = 0; c < 2; ++c) {
        std::vector<float> side(size_t(r2.frames()));
        for (int64_t i = 0; i < r2.frames(); ++i)
            side[size_t(i)] = r2.at(i, c);
        const QString mono = tree.path(QStringLiteral("c%1.wav").arg(c));
        const QString done = tree.path(QStringLiteral("a%1.wav").arg(c));
        ASSERT_TRUE(writeFloatWav(mono, 44100, 1, side));
        ASSERT_TRUE(reference(mono, done, kAmp, {"gain:-6"}));
        const DecodedAudio a = decodeFile(done);
        ASSERT_EQ(a.frames(), r2.frames());
        for (int64_t i = 0; i < a.frames(); ++i)
            joined[size_t(2 * i + c)] = a.at(i);
    }
    const DecodedAudio chain = decodeFile(tree.path("chain.wav"));
    EXPECT_EQ(chain.samples, joined);

    // A mono file runs through the stereo path and comes back mono.
    std::vector<float> mono(22050);
    for (size_t i = 0; i < mono.size(); ++i)
        mono[i] = 0.3f * std::sin(float(i) * 0.05f);
    ASSERT_TRUE(writeFloatWav(tree.path("mono.wav"), 22050, 1, mono));
    r = runProgram("wavelocker-tool", {"process", tree.path("mono.wav"), tree.path("m.wav"), "--effect", kAmp, "--set",
                                       kAmp + ":gain=6"});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const DecodedAudio m = decodeFile(tree.path("m.wav"));
    EXPECT_EQ(m.channels, 1);
    EXPECT_EQ(m.rate, 22050);
    EXPECT_NEAR(m.at(100), mono[100] * std::pow(10.0f, 6.0f / 20.0f), 1e-5);

    // Failures: not an effect, unknown port, unknown plugin, unreadable input; usage errors.
    r = runProgram("wavelocker-tool", {"process", in, tree.path("x.wav"), "--effect", kJx10});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("is not an effect")) << r.err.toStdString();
    r = runProgram("wavelocker-tool", {"process", in, tree.path("x.wav"), "--effect", kOverdrive, "--set",
                                       kOverdrive + ":nope=1"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("has no control port nope"));
    r = runProgram("wavelocker-tool", {"process", in, tree.path("x.wav"), "--effect", "urn:not:installed"});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("urn:not:installed is not installed"));
    ASSERT_TRUE(writeFile(tree.path("garbage.wav"), QByteArray(5000, 'x')));
    r = runProgram("wavelocker-tool", {"process", tree.path("garbage.wav"), tree.path("x.wav"), "--effect", kAmp});
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_FALSE(QFile::exists(tree.path("x.wav")));
    for (const QStringList& args :
         {QStringList{"process", in, tree.path("x.wav")},
          QStringList{"process", in, tree.path("x.wav"), "--effect", kAmp, "--effect", kAmp, "--effect", kAmp,
                      "--effect", kAmp},
          QStringList{"process", in, tree.path("x.wav"), "--effect", kAmp, "--set", "gain=3"},
          QStringList{"process", in, tree.path("x.wav"), "--effect", kAmp, "--set", kOverdrive + ":drive=1"}}) {
        r = runProgram("wavelocker-tool", args);
        EXPECT_EQ(r.exitCode, 2) << args.join(' ').toStdString();
    }
}

TEST(PluginTool, UnitsListsTypesAndCodesAndSkipsWhatCrashedOrIsBroken)
{
    TempTree tree;
    // Our own bundles first: one whose code aborts, one whose description is garbage.
    const QString bundles = tree.path("lv2");
    QDir().mkpath(bundles + "/broken.lv2");
    ASSERT_TRUE(writeFile(bundles + "/broken.lv2/manifest.ttl", "@prefix x: <garbage> . <urn:a> x:y [ ;;; \n"));
    QDir().mkpath(bundles + "/crash.lv2");
    for (const char* name : {"manifest.ttl", "crash.ttl", "crash.so"})
        ASSERT_TRUE(QFile::copy((testsupport::lv2Dir() + QStringLiteral("/crash.lv2/")) + name, bundles + "/crash.lv2/" + name));
    const QStringList env{"LV2_PATH=" + bundles + ":/usr/lib/lv2"};

    RunResult r = runProgram("wavelocker-tool", {"units"}, env);
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const QStringList lines = QString::fromUtf8(r.out).split('\n', Qt::SkipEmptyParts);
    auto lineFor = [&](const QString& uri) {
        for (const QString& line : lines)
            if (line.endsWith('\t' + uri))
                return line.split('\t');
        return QStringList();
    };
    const QStringList od = lineFor(kOverdrive);
    ASSERT_EQ(od.size(), 5);
    EXPECT_EQ(od[0], "aurx");
    EXPECT_EQ(od[3], "MDA Overdrive");
    EXPECT_EQ(lineFor(kJx10).value(0), "auri");  // MIDI in, no audio in
    EXPECT_EQ(lineFor(kDelay).value(2), od[2]);  // one bundle, one maker code
    EXPECT_NE(lineFor(kDelay).value(1), od[1]);
    EXPECT_EQ(lineFor(kCrash).value(0), "aurx");
    for (const QString& line : lines) {
        const QStringList f = line.split('\t');
        ASSERT_EQ(f.size(), 5) << line.toStdString();
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(f[i].size(), 4);
    }
    // The same codes from one run to the next.
    EXPECT_EQ(runProgram("wavelocker-tool", {"units"}, env).out, r.out);

    // The check the program runs before it first loads a plugin itself.
    for (const char* name : {"manifest.ttl", "probe.ttl", "probe.so", "probe_ui.so"}) {
        QDir().mkpath(bundles + "/probe.lv2");
        ASSERT_TRUE(QFile::copy((testsupport::lv2Dir() + QStringLiteral("/probe.lv2/")) + name,
                                bundles + "/probe.lv2/" + name));
    }
    r = runProgram("wavelocker-tool", {"check-unit", "urn:wavelocker:test:probe", "--rate", "48000", "--frames", "300"},
                   env);
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(r.out.trimmed(), "runs");
    r = runProgram("wavelocker-tool", {"check-unit", "urn:not:installed"}, env);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("urn:not:installed is not installed"));
    EXPECT_EQ(runProgram("wavelocker-tool", {"check-unit"}, env).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"check-unit", kOverdrive, "--frames", "0"}, env).exitCode, 2);

    // Loading the crashing plugin takes the tool down; from then on it is left out, and said so.
    ASSERT_TRUE(writeFloatWav(tree.path("in.wav"), 44100, 2, testSignal(4410)));
    r = runProgram("wavelocker-tool", {"process", tree.path("in.wav"), tree.path("out.wav"), "--effect", kCrash}, env);
    EXPECT_NE(r.exitCode, 0);
    r = runProgram("wavelocker-tool", {"units"}, env);
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_TRUE(r.err.contains("Skipping plugin urn:wavelocker:test:crash from now on")) << r.err.toStdString();
    EXPECT_FALSE(r.out.contains(kCrash.toUtf8()));
    EXPECT_TRUE(r.out.contains(kOverdrive.toUtf8()));
    r = runProgram("wavelocker-tool", {"process", tree.path("in.wav"), tree.path("out.wav"), "--effect", kCrash}, env);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(r.err.contains("is not installed"));
}
