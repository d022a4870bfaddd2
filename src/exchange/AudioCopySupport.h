#pragma once
#include "platform/Pasteboard.h"

#include <QString>
#include <QVariantMap>
#include <memory>
#include <optional>

// Helpers shared by the AudioCopy operations' files.
namespace AudioCopyPaste1::detail {

// The named pasteboard; logs "No pasteboard with name %@" (with the line feed where the
// operation's messages have one) when it cannot be had.
std::unique_ptr<platform::Pasteboard> pasteboardNamed(const QString& name, bool create, bool lineFeed = false);
// The info dictionary found in the snapshot's first item that holds one.
std::optional<QVariantMap> infoIn(const platform::PasteboardSnapshot& snapshot);
// The caller's metadata (or the default when none) with the three keys the writer sets.
QVariantMap infoDictionary(const QVariantMap& meta, float duration, int channels, int64_t pieceCount);
bool isGeneralName(const QString& name);

}  // namespace AudioCopyPaste1::detail
