#pragma once
#include "library/LibraryItem.h"

#include <QCollator>

// The process-wide sort mode of the browsers and the order it gives a folder's items.
namespace FileSort {

enum Mode { kByName = 0, kByDate = 1, kBySize = 2 };
constexpr int kModeCount = 3;

// Read from "SortMode" on first use (absent or out of range means by name).
int sortMode();
void setSortMode(int mode);
// Stores the mode under "SortMode".
void saveDefaults();
// "NAME", "DATE" or "SIZE".
QString modeName(int mode);
// Parses "name", "date" or "size"; -1 otherwise.
int modeFromName(const QString& name);

// System items last, folders first, then by mode: names case-insensitively with digit runs
// compared as numbers, dates newest first, sizes largest first (folders never by size).
void sortFileList(LibraryItemList& list, int mode);

// Names compared as people expect: case-insensitively, digit runs as numbers.
QCollator nameCollator();

}  // namespace FileSort
