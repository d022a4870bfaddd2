#include "exchange/AudioCopyPaste1.h"
#include "exchange/LibraryPasteboard.h"
#include "library/Utils.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QDir>
#include <QFileInfo>

namespace tool {
namespace {
// "3" names history slot 3; anything else is a pasteboard's own name.
QString pasteboardArgument(const QString& value)
{
    bool isNumber = false;
    const int slot = value.toInt(&isNumber);
    if (isNumber && slot >= 0 && slot < AudioCopyPaste1::kHistorySlots)
        return AudioCopyPaste1::historyPasteboardName(slot);
    return value;
}

QString folderArgument(const QStringList& positionals)
{
    if (positionals.isEmpty())
        return Utils::documentsURL();
    return QDir::cleanPath(QFileInfo(positionals.first()).absoluteFilePath());
}
}  // namespace

int runCopy(const QStringList& args)
{
    const QString usage = QStringLiteral("copy FILE [--general | --pasteboard N | --mapped]");
    Arguments a(args, {QStringLiteral("--pasteboard")}, {QStringLiteral("--general"), QStringLiteral("--mapped")});
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() != 1 || (a.has(QStringLiteral("--general")) && a.has(QStringLiteral("--pasteboard"))))
        return usageError(usage);
    const QString file = QDir::cleanPath(QFileInfo(a.positionals().first()).absoluteFilePath());
    QString pasteboard;
    bool ok = false;
    if (a.has(QStringLiteral("--general"))) {
        ok = AudioCopyPaste1::copyAudioFileAtPathToGeneralPasteboard(file);
        pasteboard = QStringLiteral("general");
    } else if (a.has(QStringLiteral("--mapped"))) {
        // A 16-bit 44.1 kHz WAV file's samples as they are, without decoding.
        pasteboard = AudioCopyPaste1::incrementPasteIndexAndGetPasteboardName();
        ok = AudioCopyPaste1::copyMappedAudioFileAtPath(file, LibraryPasteboard::copyMeta(file), pasteboard);
    } else if (a.has(QStringLiteral("--pasteboard"))) {
        pasteboard = pasteboardArgument(a.value(QStringLiteral("--pasteboard")));
        ok = AudioCopyPaste1::copyAudioFileAtPath(file, LibraryPasteboard::copyMeta(file), pasteboard);
    } else {
        pasteboard = AudioCopyPaste1::incrementPasteIndexAndGetPasteboardName();
        ok = AudioCopyPaste1::copyAudioFileAtPath(file, LibraryPasteboard::copyMeta(file), pasteboard);
    }
    if (!ok) {
        printError(QStringLiteral("Could not copy audio"));
        return kFailed;
    }
    printOut(pasteboard);
    return kOk;
}

int runPaste(const QStringList& args)
{
    const QString usage = QStringLiteral("paste [--general | --slot N] [--name NAME] [FOLDER]");
    Arguments a(args, {QStringLiteral("--slot"), QStringLiteral("--name")}, {QStringLiteral("--general")});
    const std::optional<long long> slot = a.integer(QStringLiteral("--slot"));
    if (!a.ok())
        return usageError(usage, a.error());
    if (a.positionals().size() > 1 || (a.has(QStringLiteral("--general")) && slot)
        || (slot && (*slot < 0 || *slot >= AudioCopyPaste1::kHistorySlots)))
        return usageError(usage);
    const QString folder = folderArgument(a.positionals());
    if (!QFileInfo(folder).isDir()) {
        printError(QStringLiteral("%1: no such folder").arg(folder));
        return kFailed;
    }
    const QString name = a.value(QStringLiteral("--name"));
    QString pasted;
    if (a.has(QStringLiteral("--general"))) {
        pasted = LibraryPasteboard::audioPaste(folder, name);
    } else {
        const int from = slot ? int(*slot) : AudioCopyPaste1::getPasteIndex();
        pasted = LibraryPasteboard::pasteHistorySlot(from, folder, name);
    }
    if (pasted.isEmpty()) {
        printError(QStringLiteral("Could not paste audio"));
        return kFailed;
    }
    printOut(pasted);
    return kOk;
}

int runPasteboards(const QStringList& args)
{
    const QString usage = QStringLiteral("pasteboards");
    Arguments a(args, {});
    if (!a.ok() || !a.positionals().isEmpty())
        return usageError(usage, a.error());
    const int current = AudioCopyPaste1::getPasteIndex();
    for (int slot = 0; slot < AudioCopyPaste1::kHistorySlots; ++slot) {
        const std::optional<QVariantMap> info = AudioCopyPaste1::getPasteInfoForIndex(slot);
        QString line = QStringLiteral("%1%2").arg(slot == current ? QStringLiteral("*") : QStringLiteral(" ")).arg(slot);
        if (info)
            line += QStringLiteral("\t%1\t%2\t%3 s\t%4 ch\t%5 bpm")
                        .arg(info->value(AudioCopyPaste1::kCopyName).toString(),
                             info->value(AudioCopyPaste1::kSender).toString())
                        .arg(info->value(AudioCopyPaste1::kDuration).toDouble(), 0, 'f', 3)
                        .arg(info->value(AudioCopyPaste1::kChannels).toInt())
                        .arg(info->value(AudioCopyPaste1::kTempo).toDouble());
        else
            line += QStringLiteral("\t(empty)");
        printOut(line);
    }
    return kOk;
}

}  // namespace tool
