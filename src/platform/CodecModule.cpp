#include "platform/CodecModule.h"

#include "platform/Log.h"

#include <QFileInfo>
#include <QLibrary>
#include <mutex>

namespace platform {
namespace {

constexpr char kModuleFile[] = "wavelocker-ffmpeg.so";
constexpr char kEntryPoint[] = "wavelockerCodecModule";

// Where an installation puts it (bin/../lib/wavelocker, or beside the whole tool installed
// there), beside the programs of a build (bin/../lib), else where this build put it.
QStringList candidates()
{
    const QString exe = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    const QString bin = QFileInfo(exe).absolutePath();
    QStringList paths{bin + QStringLiteral("/../lib/wavelocker/") + QLatin1String(kModuleFile),
                      bin + QLatin1Char('/') + QLatin1String(kModuleFile),
                      bin + QStringLiteral("/../lib/") + QLatin1String(kModuleFile)};
    paths << QStringLiteral(WL_CODEC_MODULE_PATH);
    return paths;
}

struct Loaded {
    const CodecModule* module = nullptr;
    QString reason;
};

Loaded load()
{
    Loaded loaded;
    for (const QString& path : candidates()) {
        if (!QFileInfo::exists(path))
            continue;
        // Never unloaded: readers and writers it made may live until the program ends.
        QLibrary library(path);
        library.setLoadHints(QLibrary::ResolveAllSymbolsHint);
        using Entry = const CodecModule* (*)();
        const auto entry = reinterpret_cast<Entry>(library.resolve(kEntryPoint));
        if (!entry) {
            loaded.reason = library.errorString();
            break;
        }
        const CodecModule* module = entry();
        if (!module || module->version != kCodecModuleVersion) {
            loaded.reason = QStringLiteral("%1 is of another version").arg(path);
            break;
        }
        loaded.module = module;
        return loaded;
    }
    if (loaded.reason.isEmpty())
        loaded.reason = QStringLiteral("%1 not found").arg(QLatin1String(kModuleFile));
    log(QStringLiteral("Compressed audio formats are not available: %1").arg(loaded.reason));
    return loaded;
}

}  // namespace

QString codecModulePath()
{
    for (const QString& path : candidates())
        if (QFileInfo::exists(path))
            return path;
    return {};
}

const CodecModule* codecModule(QString* reason)
{
    static std::once_flag once;
    static Loaded loaded;
    std::call_once(once, [] { loaded = load(); });
    if (!loaded.module && reason)
        *reason = loaded.reason;
    return loaded.module;
}

}  // namespace platform
