#include "audiofiles/waveform/WaveformRaster.h"

#include "audiofiles/waveform/Waveform.h"

#include <algorithm>
#include <cmath>

namespace WaveformRaster {
namespace {
constexpr double kVerticalMargin = 2;
}  // namespace

std::vector<Column> columnPeaks(const Waveform& waveform, int width)
{
    std::vector<Column> columns(size_t(std::max(width, 0)));
    const int capacity = waveform.capacity();
    const int count = waveform.count();
    if (capacity == 0 || width <= 0)
        return columns;
    for (int x = 0; x < width; ++x) {
        const int first = int(int64_t(x) * capacity / width);
        const int last = std::max(first + 1, int(int64_t(x + 1) * capacity / width));
        Column& column = columns[size_t(x)];
        for (int i = first; i < std::min(last, count); ++i) {
            const WavePoint p = waveform.point(i);
            column.negative = std::max(column.negative, p.negative);
            column.positive = std::max(column.positive, p.positive);
        }
    }
    return columns;
}

Span columnSpan(const Column& column, int height)
{
    const double middle = height / 2.0;
    const double scale = height / 2.0 - kVerticalMargin;
    // Half a pixel beyond each end, so a silent column still shows as a line; a row is drawn
    // when its centre lies within.
    const double top = middle - (scale * column.negative + 0.5);
    const double bottom = middle + scale * column.positive + 0.5;
    Span span;
    span.top = std::clamp(int(std::ceil(top - 0.5)), 0, std::max(height, 0));
    span.bottom = std::clamp(int(std::ceil(bottom - 0.5)), span.top, std::max(height, 0));
    return span;
}

std::vector<uint32_t> render(const Waveform& waveform, int width, int height)
{
    if (width <= 0 || height <= 0)
        return {};
    std::vector<uint32_t> pixels(size_t(width) * size_t(height), kBackgroundRgb);
    const auto columns = columnPeaks(waveform, width);
    for (int x = 0; x < width; ++x) {
        const Span span = columnSpan(columns[size_t(x)], height);
        for (int y = span.top; y < span.bottom; ++y)
            pixels[size_t(y) * size_t(width) + size_t(x)] = kWaveRgb;
    }
    return pixels;
}

}  // namespace WaveformRaster
