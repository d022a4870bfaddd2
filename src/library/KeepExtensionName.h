#pragma once
#include <QString>

// The rename editor's "Keep extension" rules, on plain strings.
namespace KeepExtensionName {

// The extension of a name without its point; empty when it has none.
QString extension(const QString& name);
// What the field shows for text when the box changes to keep: with keep on, the original's
// extension is cut off (only when text ends in that very extension); with keep off, it is
// put back when missing.
QString fieldText(const QString& text, const QString& originalName, bool keep);
// The chosen name: with keep on and an original extension, it is appended; every "/"
// becomes "_".
QString finalName(const QString& typed, const QString& originalName, bool keep);
// What the editor says under the field about the name typed, before it is chosen; empty
// when there is nothing to say.
QString hint(const QString& typed, const QString& originalName, bool keep);

}  // namespace KeepExtensionName
