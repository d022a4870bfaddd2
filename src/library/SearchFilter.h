#pragma once
#include "library/LibraryItem.h"

// The browser's search: an item matches when its name contains the text, ignoring case and
// diacritics ("cafe" finds "Café").
namespace SearchFilter {

// The text in the form names are compared in: decomposed, marks dropped, case folded.
QString folded(const QString& text);
bool nameContains(const QString& name, const QString& text);
// The matching items in the list's order; an empty text matches everything.
LibraryItemList filterFileList(const LibraryItemList& list, const QString& text);

}  // namespace SearchFilter
