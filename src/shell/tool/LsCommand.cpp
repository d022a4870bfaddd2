#include "library/FileSort.h"
#include "library/FolderListing.h"
#include "library/RowTexts.h"
#include "library/SearchFilter.h"
#include "library/Utils.h"
#include "shell/tool/ToolCommands.h"
#include "shell/tool/ToolSupport.h"

#include <QDir>
#include <QFileInfo>

namespace tool {
namespace {
const QString kLsUsage = QStringLiteral("ls [FOLDER] [--sort name|date|size] [--search TEXT]");
}

int runLs(const QStringList& args)
{
    Arguments arguments(args, {QStringLiteral("--sort"), QStringLiteral("--search")});
    if (!arguments.ok())
        return usageError(kLsUsage, arguments.error());
    if (arguments.positionals().size() > 1)
        return usageError(kLsUsage, QStringLiteral("one folder at most"));
    int mode = FileSort::sortMode();
    if (arguments.has(QStringLiteral("--sort"))) {
        mode = FileSort::modeFromName(arguments.value(QStringLiteral("--sort")));
        if (mode < 0)
            return usageError(kLsUsage, QStringLiteral("--sort takes name, date or size"));
    }
    const QString folder = arguments.positionals().isEmpty()
                               ? Utils::documentsURL()
                               : QDir::cleanPath(QFileInfo(arguments.positionals().first()).absoluteFilePath());
    if (!QFileInfo(folder).isDir()) {
        printError(QStringLiteral("wavelocker-tool: no such folder: %1").arg(folder));
        return kFailed;
    }

    LibraryItemList items = listFolder(folder).value_or(LibraryItemList());
    FileSort::sortFileList(items, mode);
    // As in the browser: a search hides the item count.
    if (arguments.has(QStringLiteral("--search")))
        items = SearchFilter::filterFileList(items, arguments.value(QStringLiteral("--search")));
    else
        printOut(RowTexts::headerText(true, items.size()));
    const QDateTime now = QDateTime::currentDateTime();
    // Rows written in batches: one write per row would convert and print each, one write for
    // all would hold the whole listing twice (as text and as UTF-8).
    constexpr qsizetype kBatchChars = 32 * 1024;
    QString rows;
    rows.reserve(kBatchChars + 1024);
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (!rows.isEmpty())
            rows += QLatin1Char('\n');
        RowTexts::appendListLine(rows, items.at(i), now);
        if (rows.size() >= kBatchChars) {
            printOut(rows);
            rows.resize(0);
        }
    }
    if (!rows.isEmpty())
        printOut(rows);
    return kOk;
}

}  // namespace tool
