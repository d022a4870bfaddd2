#pragma once
#include <cstdint>
#include <vector>

class Waveform;

// How a waveform is drawn, as the editor and `wavelocker-tool waveform --png` both show it: one
// vertical run of pixels per column from the largest negative to the largest positive
// excursion of the points under that column, on a dark background.
namespace WaveformRaster {

inline constexpr uint32_t kBackgroundRgb = 0x212121;
inline constexpr uint32_t kWaveRgb = 0x73BFFF;

struct Column {
    float negative = 0;
    float positive = 0;
};

// The excursions per column of a view `width` columns wide. Points are spread over the
// columns by the waveform's full size, so a partly read waveform stays in place in time.
std::vector<Column> columnPeaks(const Waveform& waveform, int width);

// The rows [top, bottom) one column covers in a view `height` pixels high.
struct Span {
    int top = 0;
    int bottom = 0;
};
Span columnSpan(const Column& column, int height);

// The whole picture, row by row, one 0xRRGGBB word per pixel.
std::vector<uint32_t> render(const Waveform& waveform, int width, int height);

}  // namespace WaveformRaster
