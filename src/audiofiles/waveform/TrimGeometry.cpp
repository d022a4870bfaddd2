#include "audiofiles/waveform/TrimGeometry.h"

#include <algorithm>
#include <cmath>

namespace TrimGeometry {
namespace {
constexpr double kSecondsPerPoint = 0.001;
constexpr double kMinimumShare = 0.02;
constexpr double kGridOffset = 0.0001;  // keeps a line that falls on the handle from jumping back a beat

double roundToMultiple(double value, double step)
{
    return value + step / 2 - std::fmod(value + step / 2, step);
}
}  // namespace

double snapStart(double start, double snapTime)
{
    return roundToMultiple(start, snapTime);
}

double snapEnd(double start, double end, double snapTime)
{
    return start + roundToMultiple(end - start, snapTime);
}

double clipStart(double start, double end, double lower)
{
    return std::max(lower, std::min(start, end));
}

double clipEnd(double start, double end, double upper)
{
    return std::min(upper, std::max(end, start));
}

ZoomRange zoomRange(double centre, double widthPoints, double totalLength)
{
    double span = kSecondsPerPoint * widthPoints;
    span = std::max(span, kMinimumShare * totalLength);
    span = std::min(span, totalLength / 2);
    const double clipped = std::clamp(centre, span / 2, std::max(span / 2, totalLength - span / 2));
    const double start = clipped - span / 2;
    return {start, start + span};
}

std::vector<double> gridTimes(double visibleStart, double visibleEnd, double start, double snapTime)
{
    std::vector<double> times;
    if (snapTime <= 0 || visibleEnd <= visibleStart)
        return times;
    const double shift = std::fmod(start + kGridOffset, snapTime);
    for (double k = std::ceil((visibleStart - shift) / snapTime);; ++k) {
        const double t = shift + k * snapTime;
        if (t > visibleEnd)
            break;
        times.push_back(t);
    }
    return times;
}

double handleX(double time, double visibleStart, double visibleEnd, double width)
{
    const double span = visibleEnd - visibleStart;
    if (span <= 0)
        return 0.5;
    return std::floor(width * (time - visibleStart) / span) + 0.5;
}

}  // namespace TrimGeometry
