#include "library/Utils.h"

#include "platform/FileIO.h"
#include "platform/TypeIdentifiers.h"

#include <QFile>
#include <cstdio>

namespace Utils {
namespace {
bool conforms(const QString& path, const char* parent)
{
    return platform::TypeIdentifiers::conformsTo(typeForPath(path), QLatin1String(parent));
}
}  // namespace

QString typeForPath(const QString& path) { return platform::TypeIdentifiers::forPath(path); }

bool fileIsAudio(const QString& path) { return conforms(path, "public.audio"); }
bool fileIsText(const QString& path) { return conforms(path, "public.plain-text"); }
bool fileIsSoundFont(const QString& path) { return conforms(path, "com.soundblaster.soundfont"); }
bool fileIsZip(const QString& path) { return conforms(path, "com.pkware.zip-archive"); }

bool fileIsMIDI(const QString& path)
{
    // Content, not name: a standard MIDI file starts with "MThd".
    if (!platform::isRegularFile(path))
        return false;
    FILE* f = std::fopen(QFile::encodeName(path).constData(), "r");
    if (!f)
        return false;
    unsigned char magic[4] = {};
    const size_t n = std::fread(magic, 1, sizeof magic, f);
    std::fclose(f);
    return n == 4 && magic[0] == 0x4D && magic[1] == 0x54 && magic[2] == 0x68 && magic[3] == 0x64;
}

}  // namespace Utils
