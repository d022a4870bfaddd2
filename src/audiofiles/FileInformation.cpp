#include "audiofiles/FileInformation.h"

#include "audiofiles/InformationCache.h"
#include "platform/AudioFileReader.h"
#include "platform/FourCC.h"
#include "platform/SndfileAudioReader.h"

#include <cmath>

namespace Utils {
namespace {

using platform::fourCC;

struct TypeName {
    uint32_t type;
    const char* name;
};

constexpr TypeName kTypeNames[] = {
    {fourCC("3gp2"), "3GP2"}, {fourCC("3gpp"), "3GP"}, {fourCC("AIFC"), "AIFC"}, {fourCC("AIFF"), "AIFF"},
    {fourCC("MPG1"), "MP1"},  {fourCC("MPG2"), "MP2"}, {fourCC("MPG3"), "MP3"},  {fourCC("NeXT"), "NeXT"},
    {fourCC("WAVE"), "WAVE"}, {fourCC("ac-3"), "AC3"}, {fourCC("adts"), "ADTS"}, {fourCC("amrf"), "AMR"},
    {fourCC("caff"), "CAF"},  {fourCC("m4af"), "M4A"}, {fourCC("mp4f"), "MP4"},  {fourCC("Sd2f"), "SD2"},
    // Containers that are common on Linux desktops.
    {fourCC("flac"), "FLAC"}, {fourCC("OggS"), "OGG"}, {fourCC("W64f"), "W64"},
};

constexpr double kCdSampleRate = 44100;
constexpr uint32_t kCdBits = 16;

}  // namespace

QString fileTypeName(uint32_t fileType)
{
    for (const TypeName& t : kTypeNames)
        if (t.type == fileType)
            return QString::fromLatin1(t.name);
    return QStringLiteral("(unknown)");
}

QString codecName(uint32_t dataFormat)
{
    // Printed as a C string of at most four characters: a zero byte ends it.
    QString text = platform::fourCCString(dataFormat);
    if (const qsizetype zero = text.indexOf(QChar(0)); zero >= 0)
        text.truncate(zero);
    text = text.toUpper();
    auto trimmable = [](QChar c) { return c == QLatin1Char(' ') || c == QLatin1Char('.'); };
    while (!text.isEmpty() && trimmable(text.front()))
        text.remove(0, 1);
    while (!text.isEmpty() && trimmable(text.back()))
        text.chop(1);
    return text;
}

QString durationText(double seconds)
{
    const int whole = int(seconds);
    const int millis = int((seconds - std::floor(seconds)) * 1000.0);
    return QString::asprintf("%02d:%02d.%03d", whole / 60, whole % 60, millis);
}

std::optional<FileInformation> fileInformation(const QString& path)
{
    // Compressed files are described from the cache while they and the codec module stay as
    // they were; the version is read before the file, so a change while reading is never
    // stored as the old version's.
    const InformationCache::Stamp stamp = InformationCache::Stamp::of(path);
    if (const auto cached = InformationCache::find(path, stamp))
        return FileInformation{cached->text, cached->is44100Hz16Bit};
    const auto reader = platform::AudioFileReader::open(path);
    if (!reader)
        return std::nullopt;
    const platform::StreamDescription d = reader->info().description();
    const QString type = fileTypeName(reader->fileType());
    const QString codec = codecName(d.formatID);
    const QString typePart = codec == type ? type : QStringLiteral("%1 %2").arg(type, codec);
    const QString channelsText = QString::asprintf("%u ch", d.channelsPerFrame);
    QString depth;
    // Lossless codecs name the source's depth in their flags.
    if (d.formatID == fourCC("alac") || d.formatID == fourCC("flac"))
        depth = QString::asprintf("%2d bit", platform::alacBitsForFlags(d.formatFlags));
    else if (d.bitsPerChannel != 0)
        depth = QString::asprintf("%2u bit", d.bitsPerChannel);
    else if (reader->bitRate() != 0)
        depth = QString::asprintf("%u kb/s", unsigned(reader->bitRate() / 1000));

    FileInformation info;
    info.text = QStringLiteral("%1 %2\n%3 %4 Hz\n%5")
                    .arg(channelsText, typePart, depth, QString::asprintf("%g", d.sampleRate),
                         durationText(reader->duration()));
    info.is44100Hz16Bit = d.sampleRate == kCdSampleRate && d.bitsPerChannel == kCdBits;
    // PCM files are read at once without the codecs; their entries would only cost writes.
    const bool fromCodecModule = dynamic_cast<const platform::SndfileAudioReader*>(reader.get()) == nullptr;
    if (fromCodecModule && InformationCache::Stamp::of(path) == stamp)
        InformationCache::store(path, stamp, {info.text, info.is44100Hz16Bit});
    return info;
}

}  // namespace Utils
