#pragma once

#include <QtGlobal>

namespace platform {

// Whole reads and writes on a descriptor: short transfers and EINTR are retried. False when
// the file ends first or a call fails (errno tells; a write that makes no progress sets ENOSPC).
bool preadAll(int fd, void* out, qint64 length, qint64 offset);
bool pwriteAll(int fd, const void* data, qint64 length, qint64 offset);
bool writeAll(int fd, const void* data, qint64 length);

}  // namespace platform
