#include "recording/OfflineEffectChain.h"
#include "shell/tool/AudioCommandSupport.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QFileInfo>
#include <algorithm>

namespace tool {
namespace {

const QString kProcessUsage = QStringLiteral("process IN OUT --effect URI [--effect URI ...] [--set URI:PORT=VALUE ...]");

}  // namespace

int runProcess(const QStringList& args)
{
    // "--effect" may come several times and its order matters, which the option parser
    // does not keep; both repeated options are taken out here, in order.
    QStringList positionals;
    QList<OfflineEffectChain::Effect> effects;
    QStringList settings;
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args[i];
        if (a == QLatin1String("--effect") || a == QLatin1String("--set")) {
            if (i + 1 >= args.size())
                return usageError(kProcessUsage, QStringLiteral("%1 needs a value").arg(a));
            if (a == QLatin1String("--effect"))
                effects.append({args[++i], {}});
            else
                settings << args[++i];
        } else if (a.startsWith(QLatin1String("--"))) {
            return usageError(kProcessUsage, QStringLiteral("unknown option %1").arg(a));
        } else {
            positionals << a;
        }
    }
    if (positionals.size() != 2)
        return usageError(kProcessUsage, QStringLiteral("an input and an output"));
    if (effects.isEmpty() || effects.size() > OfflineEffectChain::kMaxEffects)
        return usageError(kProcessUsage, QStringLiteral("one to three effects"));
    for (const QString& setting : settings) {
        // URIs hold colons themselves: the port is what follows the last one before "=".
        const qsizetype eq = setting.indexOf(QLatin1Char('='));
        const qsizetype colon = eq < 0 ? -1 : setting.lastIndexOf(QLatin1Char(':'), eq);
        bool ok = false;
        const float value = eq < 0 ? 0.0f : setting.mid(eq + 1).toFloat(&ok);
        if (colon <= 0 || !ok)
            return usageError(kProcessUsage, QStringLiteral("--set takes URI:PORT=VALUE, not %1").arg(setting));
        const QString uri = setting.left(colon);
        const QString port = setting.mid(colon + 1, eq - colon - 1);
        auto it = std::find_if(effects.begin(), effects.end(), [&](const auto& e) { return e.uri == uri; });
        if (it == effects.end())
            return usageError(kProcessUsage, QStringLiteral("--set names %1, which is not an --effect").arg(uri));
        it->settings.append({port, value});
    }
    const QString in = absolutePath(positionals[0]);
    const QString out = absolutePath(positionals[1]);
    ProgressBar progress(QFileInfo(in).fileName());
    QString error;
    if (!OfflineEffectChain::processFile(in, out, effects, &error, [&](float f) { progress.update(f); })) {
        printError(QStringLiteral("wavelocker-tool: %1").arg(error));
        return kFailed;
    }
    printOut(out);
    return kOk;
}

}  // namespace tool
