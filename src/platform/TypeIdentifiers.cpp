#include "platform/TypeIdentifiers.h"

#include <QFileInfo>
#include <QHash>

namespace platform::TypeIdentifiers {
namespace {

struct TypeInfo {
    const char* extension;
    const char* identifier;
    const char* mime;
};

constexpr TypeInfo kTypes[] = {
    {"wav", "com.microsoft.waveform-audio", "audio/wav"},
    {"wave", "com.microsoft.waveform-audio", "audio/wav"},
    {"bwf", "com.microsoft.waveform-audio", "audio/wav"},
    {"aif", "public.aiff-audio", "audio/aiff"},
    {"aiff", "public.aiff-audio", "audio/aiff"},
    {"aifc", "public.aifc-audio", "audio/aiff"},
    {"caf", "com.apple.coreaudio-format", "audio/x-caf"},
    {"mp3", "public.mp3", "audio/mpeg"},
    {"mp2", "public.mp2", "audio/mpeg"},
    {"mp1", "public.mp1", "audio/mpeg"},
    {"m4a", "com.apple.m4a-audio", "audio/mp4"},
    {"m4r", "com.apple.m4a-audio", "audio/mp4"},
    {"m4b", "com.apple.protected-mpeg-4-audio-b", "audio/mp4"},
    {"aac", "public.aac-audio", "audio/aac"},
    {"adts", "public.aac-audio", "audio/aac"},
    {"ac3", "public.ac3-audio", "audio/ac3"},
    {"amr", "org.3gpp.adaptive-multi-rate-audio", "audio/amr"},
    {"3gp", "public.3gpp-audio", "audio/3gpp"},
    {"3g2", "public.3gpp2-audio", "audio/3gpp2"},
    {"au", "public.au-audio", "audio/basic"},
    {"snd", "public.au-audio", "audio/basic"},
    {"flac", "org.xiph.flac", "audio/flac"},
    {"ogg", "org.xiph.ogg-audio", "audio/ogg"},
    {"oga", "org.xiph.ogg-audio", "audio/ogg"},
    {"opus", "org.xiph.opus", "audio/ogg"},
    {"mid", "public.midi-audio", "audio/midi"},
    {"midi", "public.midi-audio", "audio/midi"},
    {"smf", "public.midi-audio", "audio/midi"},
    {"sf2", "com.soundblaster.soundfont", "audio/x-soundfont"},
    {"zip", "com.pkware.zip-archive", "application/zip"},
    {"txt", "public.plain-text", "text/plain"},
    {"text", "public.plain-text", "text/plain"},
    {"md", "net.daringfireball.markdown", "text/markdown"},
    {"html", "public.html", "text/html"},
    {"htm", "public.html", "text/html"},
    {"css", "public.css", "text/css"},
    {"js", "com.netscape.javascript-source", "text/javascript"},
    {"json", "public.json", "application/json"},
    {"png", "public.png", "image/png"},
    {"jpg", "public.jpeg", "image/jpeg"},
    {"jpeg", "public.jpeg", "image/jpeg"},
    {"gif", "com.compuserve.gif", "image/gif"},
    {"svg", "public.svg-image", "image/svg+xml"},
    {"ico", "com.microsoft.ico", "image/x-icon"},
    {"pdf", "com.adobe.pdf", "application/pdf"},
    {"mp4", "public.mpeg-4", "video/mp4"},
    {"mov", "com.apple.quicktime-movie", "video/quicktime"},
};

// Each identifier's direct parents.
const QHash<QString, QStringList>& parents()
{
    static const QHash<QString, QStringList> table = {
        {"com.microsoft.waveform-audio", {"public.audio"}},
        {"public.aiff-audio", {"public.aifc-audio"}},
        {"public.aifc-audio", {"public.audio"}},
        {"com.apple.coreaudio-format", {"public.audio"}},
        {"public.mp3", {"public.audio"}},
        {"public.mp2", {"public.audio"}},
        {"public.mp1", {"public.audio"}},
        {"com.apple.m4a-audio", {"public.mpeg-4-audio"}},
        {"com.apple.protected-mpeg-4-audio-b", {"public.mpeg-4-audio"}},
        {"public.mpeg-4-audio", {"public.audio"}},
        {"public.aac-audio", {"public.audio"}},
        {"public.ac3-audio", {"public.audio"}},
        {"org.3gpp.adaptive-multi-rate-audio", {"public.audio"}},
        {"public.3gpp-audio", {"public.audio"}},
        {"public.3gpp2-audio", {"public.audio"}},
        {"public.au-audio", {"public.ulaw-audio"}},
        {"public.ulaw-audio", {"public.audio"}},
        {"org.xiph.flac", {"public.audio"}},
        {"org.xiph.ogg-audio", {"public.audio"}},
        {"org.xiph.opus", {"public.audio"}},
        {"public.midi-audio", {"public.audio"}},
        {"public.audio", {"public.audiovisual-content"}},
        {"public.mpeg-4", {"public.movie"}},
        {"com.apple.quicktime-movie", {"public.movie"}},
        {"public.movie", {"public.audiovisual-content"}},
        {"public.audiovisual-content", {"public.data", "public.content"}},
        {"com.soundblaster.soundfont", {"public.data"}},
        {"com.pkware.zip-archive", {"public.zip-archive"}},
        {"public.zip-archive", {"public.archive", "public.data"}},
        {"public.plain-text", {"public.text"}},
        {"net.daringfireball.markdown", {"public.plain-text"}},
        {"public.html", {"public.text"}},
        {"public.css", {"public.plain-text"}},
        {"com.netscape.javascript-source", {"public.source-code"}},
        {"public.source-code", {"public.plain-text"}},
        {"public.json", {"public.text"}},
        {"public.text", {"public.data", "public.content"}},
        {"public.png", {"public.image"}},
        {"public.jpeg", {"public.image"}},
        {"com.compuserve.gif", {"public.image"}},
        {"public.svg-image", {"public.image"}},
        {"com.microsoft.ico", {"public.image"}},
        {"public.image", {"public.data", "public.content"}},
        {"com.adobe.pdf", {"public.data", "public.content"}},
    };
    return table;
}

const TypeInfo* lookup(const QString& extension)
{
    static const QHash<QString, const TypeInfo*> byExtension = [] {
        QHash<QString, const TypeInfo*> map;
        for (const TypeInfo& t : kTypes)
            map.insert(QString::fromLatin1(t.extension), &t);
        return map;
    }();
    return byExtension.value(extension.toLower(), nullptr);
}

}  // namespace

QString forExtension(const QString& extension)
{
    const TypeInfo* t = lookup(extension);
    return t ? QString::fromLatin1(t->identifier) : QString();
}

QString forPath(const QString& path)
{
    return forExtension(QFileInfo(path).suffix());
}

bool conformsTo(const QString& type, const QString& parent)
{
    if (type.isEmpty())
        return false;
    if (type == parent)
        return true;
    const QStringList ups = parents().value(type);
    for (const QString& up : ups)
        if (conformsTo(up, parent))
            return true;
    return false;
}

QString mimeTypeForPath(const QString& path)
{
    const TypeInfo* t = lookup(QFileInfo(path).suffix());
    return t ? QString::fromLatin1(t->mime) : QStringLiteral("application/octet-stream");
}

}  // namespace platform::TypeIdentifiers
