#pragma once
#include "audiofiles/ConversionOptions.h"

#include <QString>
#include <atomic>
#include <functional>
#include <optional>

// The offline operations on audio files. Each runs synchronously on the calling thread,
// streams the audio in chunks into a temporary file and moves that into place at the end;
// they share one temporary path, so they run one at a time process-wide (a second caller
// waits). Failures are logged and answered with false or nullopt; the source is never touched.
namespace Utils {

// Called after every chunk with the fraction done (0..1), on the operation's thread.
using ProgressBlock = std::function<void(float)>;
// Set from any thread, it stops convert and normalize before their next chunk: they then fail
// ("Cancelled") and leave nothing behind, the destination untouched.
using CancelFlag = std::atomic_bool;

// Any readable file to 16-bit WAVE at 44100 Hz with the source's channels. Never replaces an
// existing destination.
bool decode(const QString& src, const QString& dest, const ProgressBlock& progressBlock = {});
// To one of the writable formats. Never replaces an existing destination.
bool convert(const QString& src, const QString& dest, const ConversionOptions& format,
             const ProgressBlock& progressBlock = {}, const CancelFlag* cancel = nullptr);
// Scales the file so its loudest sample reaches full scale, keeping its container and
// encoding, or writing 16-bit WAVE beside dest (extension "wav") when those can't be written.
// Answers the path written; replaces an existing destination.
std::optional<QString> normalize(const QString& src, const QString& dest, const ProgressBlock& progressBlock = {},
                                 const CancelFlag* cancel = nullptr);
// Cuts the region [start, end) seconds with linear fades (0 for none), like normalize in
// format and destination.
std::optional<QString> trim(const QString& src, const QString& dest, double start, double end, double fadeIn,
                            double fadeOut, const ProgressBlock& progressBlock = {});

}  // namespace Utils
