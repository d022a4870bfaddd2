#include "support/DecodedAudio.h"

#include "platform/AudioFileReader.h"
#include "platform/AudioFileRepair.h"

#include <QFile>

#include <gtest/gtest.h>

namespace testsupport {

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

}  // namespace testsupport
