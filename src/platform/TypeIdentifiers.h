#pragma once
#include <QString>

// Uniform type identifiers decided by file extension, with the conformance tree the
// kind tests rely on ("public.audio" covers every audio identifier, MIDI included).
namespace platform::TypeIdentifiers {

// Identifier for a path's extension (case-insensitive); empty when unknown.
QString forPath(const QString& path);
QString forExtension(const QString& extension);
// True when type is parent or reaches it through its ancestors.
bool conformsTo(const QString& type, const QString& parent);
// MIME type for the desktop clipboard and the web service; "application/octet-stream" when unknown.
QString mimeTypeForPath(const QString& path);

}  // namespace platform::TypeIdentifiers
