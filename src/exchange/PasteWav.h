#pragma once
#include <QByteArray>
#include <QString>
#include <cstdint>
#include <memory>

// The plain WAV forms of the pasteboard exchange: the 44-byte header of 16-bit 44.1 kHz PCM,
// the search for the first sample byte, and 16-bit WAV files written in place at an offset.
namespace PasteWav {

constexpr int kHeaderSize = 44;
constexpr int kSampleRate = 44100;

// "RIFF" header of integer PCM at 44100 Hz, 16 bits: always 44 bytes.
QByteArray createHeader(int channels, uint32_t dataSize);

// The offset of the first sample byte of a WAV image: chunks are walked from byte 12 (odd
// sizes padded) until "data". -1 when the image ends first.
int64_t getDataOffset(const char* image, int64_t size);

// A 16-bit PCM WAV file opened for reading and writing samples in place. Writing past the
// end of the sample data grows it; chunks stored after the data chunk are kept after it.
class WritableWav {
public:
    // Null (with the reason logged) when the file is no 16-bit integer PCM WAV.
    static std::unique_ptr<WritableWav> open(const QString& path);
    ~WritableWav();
    WritableWav(const WritableWav&) = delete;
    WritableWav& operator=(const WritableWav&) = delete;

    int channels() const { return mChannels; }
    int64_t lengthFrames() const { return mDataSize / (2 * mChannels); }
    // Writes at a byte position counted from the first sample byte.
    bool writeSamples(int64_t bytePosition, const char* data, int64_t length);
    // Brings the RIFF and data sizes up to date and puts the kept chunks back; false on a
    // write error.
    bool close();

private:
    WritableWav() = default;

    QString mPath;
    int mFd = -1;
    int mChannels = 0;
    int64_t mDataOffset = 0;  // first sample byte
    int64_t mDataSize = 0;
    QByteArray mTrailing;     // chunks after the data chunk, put back on close
    bool mFailed = false;
};

}  // namespace PasteWav
