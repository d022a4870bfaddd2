#include "support/DecodedAudio.h"

#include "platform/AudioFileReader.h"
#include "platform/AudioFileRepair.h"
#include "support/TempTree.h"

#include <QElapsedTimer>
#include <QFile>

#include <gtest/gtest.h>

namespace testsupport {
namespace {
constexpr int kLookIntervalMs = 250;
}

DecodedAudio decodeFile(const QString& path)
{
    DecodedAudio a;
    const auto reader = platform::AudioFileReader::open(path);
    EXPECT_TRUE(reader) << path.toStdString();
    if (!reader)
        return a;
    a.channels = reader->channels();
    a.rate = reader->sampleRate();
    a.fileType = reader->fileType();
    a.dataFormat = reader->dataFormat();
    a.bits = reader->bitsPerSample();
    constexpr int64_t kChunk = 8192;
    std::vector<float> buffer(size_t(kChunk * a.channels));
    for (int64_t n; (n = reader->read(buffer.data(), kChunk)) > 0;)
        a.samples.insert(a.samples.end(), buffer.begin(), buffer.begin() + n * a.channels);
    return a;
}

int64_t framesOnDisk(const QString& take, const QString& scratch)
{
    QFile::remove(scratch);
    if (!QFile::copy(take, scratch) || !platform::AudioFileRepair::repair(scratch))
        return 0;
    return decodeFile(scratch).frames();
}

int64_t waitForFramesOnDisk(const QString& take, const QString& scratch, int64_t atLeast, int timeoutMs)
{
    int64_t seen = 0;
    QElapsedTimer sinceLook;
    waitUntil(
        [&] {
            if (sinceLook.isValid() && sinceLook.elapsed() < kLookIntervalMs)
                return false;
            sinceLook.start();
            seen = framesOnDisk(take, scratch);
            return seen >= atLeast;
        },
        timeoutMs);
    return seen;
}

}  // namespace testsupport
