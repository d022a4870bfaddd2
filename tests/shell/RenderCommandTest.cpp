#include "platform/AudioFileReader.h"
#include "support/AudioFixtures.h"
#include "support/TempTree.h"

#include <gtest/gtest.h>
#include <vector>

using namespace testsupport;

namespace {
std::vector<float> readAll(const QString& path, int channels)
{
    auto reader = platform::AudioFileReader::open(path);
    if (!reader)
        return {};
    std::vector<float> samples(size_t(reader->clientLengthFrames()) * channels);
    const int64_t got = reader->read(samples.data(), reader->clientLengthFrames());
    samples.resize(size_t(std::max<int64_t>(got, 0)) * channels);
    return samples;
}
}  // namespace

// The offline render pulls the same player the engine plays: a constant signal shows the fade
// law and the region's length on disk.
TEST(RenderCommand, WritesTheRegionWithItsFadesAsFloatWave)
{
    TempTree tree;
    const QString src = tree.path("dc.wav");
    const QString out = tree.path("out.wav");
    ASSERT_TRUE(writeWav16(src, 2, 44100, 44100 * 2, [](int64_t, int) { return int16_t(16384); }));

    const RunResult r = runProgram("wavelocker-tool", {"render", src, out, "--region", "0.5", "1.5", "--fade-in",
                                                       "0.25", "--fade-out", "0.25"});
    ASSERT_EQ(r.exitCode, 0) << r.err.toStdString();
    const std::vector<float> s = readAll(out, 2);
    ASSERT_EQ(s.size(), size_t(44100 * 2));
    EXPECT_NEAR(s[0], 0.0f, 1e-4);                         // silent at the region's start
    EXPECT_NEAR(s[2 * 11025], 0.5f, 2e-3);                 // full level once the fade-in is over
    EXPECT_NEAR(s[2 * 5512], 0.25f, 2e-3);                 // half way through the fade-in
    EXPECT_NEAR(s[2 * 22050], 0.5f, 2e-3);                 // the middle is untouched
    EXPECT_NEAR(s[s.size() - 2], 0.0f, 2e-3);              // faded out at the end

    EXPECT_EQ(runProgram("wavelocker-tool", {"render", src}).exitCode, 2);
    EXPECT_EQ(runProgram("wavelocker-tool", {"render", tree.path("missing.wav"), out}).exitCode, 1);
}
