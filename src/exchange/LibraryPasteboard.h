#pragma once
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <cstdint>
#include <functional>
#include <optional>

// The library's ends of pasteboard exchange, without screens: pasting the general
// pasteboard as a new file, copying files to the AudioCopy history, and the names they get.
// The screens, the URL commands and the tool all come through here.
namespace LibraryPasteboard {

struct Alert {
    QString title;
    QString message;
};

// Pastes the file on the general pasteboard into folder as a new file named name (or
// "Pasted audio") with the extension its content calls for; alerts titled "AudioPaste" say
// why not. The new path, or empty.
QString audioPaste(const QString& folder, const QString& name = {});
// A file gathered elsewhere given the same naming and arrival (the file is moved).
QString pasteFile(const QString& file, const QString& folder, const QString& name);
// The bytes of a whole file (WAV bytes from the desktop clipboard or a drop) as a new file.
QString pasteBytes(const QByteArray& bytes, const QString& folder, const QString& name);

// The extension a pasted file gets from its file-type code.
QString extensionForFileType(uint32_t fileType);
// A name from outside as a plain file name: "/" becomes "_", control characters blanks,
// leading points go (so never "." or ".." or a hidden file); at most 200 characters; empty
// when nothing usable is left.
QString safeFileName(const QString& name);

// The metadata of a copy from this program: the file's name without extension, our name as
// sender, the tempo found in the name (0 when none).
QVariantMap copyMeta(const QString& path);
// Decodes a file onto the next AudioCopy history slot.
bool copyToHistory(const QString& path, const QVariantMap& meta);
// The refusal bulk AudioCopy gives for this selection, if any.
std::optional<Alert> bulkAudioCopyRefusal(const QStringList& paths);
// Copies every path to the history in order; progress gets each item's fraction before it is
// copied; answers the paths that failed.
QStringList bulkAudioCopy(const QStringList& paths, const std::function<void(float)>& progress = {});
// Whether the editor's AudioCopy may send the file: 16-bit, 44.1 kHz linear PCM.
bool isAudioCopyCompatible(const QString& path);

// Writes history slot `slot` into folder as "NAME.wav", "NAME(1).wav" and on when taken,
// NAME being name or else the copy's own name. The new path, or empty.
QString pasteHistorySlot(int slot, const QString& folder, const QString& name = {});

}  // namespace LibraryPasteboard
