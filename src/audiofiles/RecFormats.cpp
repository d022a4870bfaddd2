#include "audiofiles/RecFormats.h"

#include "platform/FourCC.h"

namespace Utils {
namespace {

using platform::fourCC;

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
