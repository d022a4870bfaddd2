#include "audiofiles/RecFormats.h"

namespace Utils {
namespace {

constexpr uint32_t fourCC(const char (&code)[5])
{
    return uint32_t(uint8_t(code[0])) << 24 | uint32_t(uint8_t(code[1])) << 16 | uint32_t(uint8_t(code[2])) << 8 |
           uint32_t(uint8_t(code[3]));
}

struct RecFormat {
    const char* name;
    const char* extension;
    uint32_t fileType;
};

constexpr RecFormat kFormats[kRecFormatCount] = {
    {"WAVE", "wav", fourCC("WAVE")},    {"AIFF", "aif", fourCC("AIFF")},     {"CAF", "caf", fourCC("caff")},
    {"M4A AAC", "m4a", fourCC("m4af")}, {"M4A ALAC", "m4a", fourCC("m4af")},
};

}  // namespace

const QStringList& recFormatNames()
{
    static const QStringList names = [] {
        QStringList list;
        for (const RecFormat& f : kFormats)
            list << QString::fromLatin1(f.name);
        return list;
    }();
    return names;
}

QString fileExtensionForRecFormat(int index) { return QString::fromLatin1(kFormats[index].extension); }
uint32_t fileTypeForRecFormat(int index) { return kFormats[index].fileType; }

}  // namespace Utils
