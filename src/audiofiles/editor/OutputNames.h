#pragma once
#include <QString>

// Where the editor's tools write their results, beside the source file.
namespace OutputNames {

// "a.wav" → "a-trimmed.wav", a repeated "-trimmed(n)" ending collapsing to "-trimmed", and a
// counter "(n)" added until the name is free.
QString trimmedPath(const QString& source);
// The same with "-converted" and the extension of the target format.
QString convertedPath(const QString& source, int recFormat);
// "a.wav" → "a-normalized.wav", whether or not that exists: normalizing again replaces it.
QString normalizedPath(const QString& source);

}  // namespace OutputNames
