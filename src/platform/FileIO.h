#pragma once

#include <QString>
#include <QtGlobal>

namespace platform {

// Whole reads and writes on a descriptor: short transfers and EINTR are retried. False when
// the file ends first or a call fails (errno tells; a write that makes no progress sets ENOSPC).
bool preadAll(int fd, void* out, qint64 length, qint64 offset);
bool pwriteAll(int fd, const void* data, qint64 length, qint64 offset);
bool writeAll(int fd, const void* data, qint64 length);

// Whether path (links followed) is a regular file. Readers ask first: opening a FIFO or a
// device someone left in the library would wait for a writer that never comes.
bool isRegularFile(const QString& path);

}  // namespace platform
