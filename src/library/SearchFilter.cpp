#include "library/SearchFilter.h"

namespace SearchFilter {
QString folded(const QString& text)
{
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    QString out;
    out.reserve(decomposed.size());
    for (const QChar c : decomposed)
        if (c.category() != QChar::Mark_NonSpacing)
            out.append(c);
    return out.toCaseFolded();
}

bool nameContains(const QString& name, const QString& text)
{
    return folded(name).contains(folded(text));
}

LibraryItemList filterFileList(const LibraryItemList& list, const QString& text)
{
    const QString needle = folded(text);
    if (needle.isEmpty())
        return list;
    LibraryItemList matches;
    for (const LibraryItem& item : list)
        if (folded(lastPathComponent(item.path)).contains(needle))
            matches.append(item);
    return matches;
}

}  // namespace SearchFilter
