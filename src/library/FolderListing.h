#pragma once
#include "library/LibraryItem.h"

#include <atomic>
#include <optional>

// Lists a folder's direct entries with one status call per entry. An unreadable folder gives
// an empty list; an entry whose status can't be read is listed with zero size and date.
// The private Inbox is left out while it holds no subfolders. Answers nothing when cancel
// was set during the listing (or when no folder was given), so callers keep their lists.
std::optional<LibraryItemList> listFolder(const QString& folder, const std::atomic_bool* cancel = nullptr);

// Re-reads one entry's size and date; false when its status can't be read.
bool refreshItemStatus(LibraryItem& item);
