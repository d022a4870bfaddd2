#pragma once
#include <QString>
#include <atomic>

class PeakSource;
class Waveform;

// Reads the peaks of a time range into a waveform's points. The fractional carry of frames
// per point keeps the points evenly spaced; the reader stops between reads once `cancel`
// is raised. Answers the frames per point, 0 when nothing could be read.
namespace PeakReader {

// endTime 0 means the end of the file. Opens the file with the platform's reader.
double readWaveformInto(Waveform& waveform, const QString& path, double startTime, double endTime,
                        const std::atomic<bool>& cancel);
double readWaveformInto(Waveform& waveform, PeakSource& source, double startTime, double endTime,
                        const std::atomic<bool>& cancel);

}  // namespace PeakReader
