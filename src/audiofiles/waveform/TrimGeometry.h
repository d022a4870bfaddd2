#pragma once
#include <vector>

// The arithmetic of trim handles, snapping, zooming and the beat grid, in seconds.
namespace TrimGeometry {

// The start rounded to the nearest multiple of snapTime.
double snapStart(double start, double snapTime);
// The end placed so that the selection's length is a whole number of snapTime: the grid is
// anchored at the start handle.
double snapEnd(double start, double end, double snapTime);

// The start kept inside [lower, end]; the end inside [start, upper].
double clipStart(double start, double end, double lower);
double clipEnd(double start, double end, double upper);

struct ZoomRange {
    double start = 0;
    double end = 0;
    double span() const { return end - start; }
};
// The range shown when zooming in on `centre`: 1 ms per point of the view's width, raised to
// 2 % of the total, lowered to half the total; centred on `centre` and kept inside the file.
ZoomRange zoomRange(double centre, double widthPoints, double totalLength);

// Times of the beat grid lines within [visibleStart, visibleEnd]: one every snapTime, placed
// so that those at and after the start handle fall on start + whole multiples of snapTime.
std::vector<double> gridTimes(double visibleStart, double visibleEnd, double start, double snapTime);

// A time's x position on a view of `width` points that shows [visibleStart, visibleEnd]:
// the integer part of the scaled time plus 0.5, the centre of a device pixel column.
double handleX(double time, double visibleStart, double visibleEnd, double width);

}  // namespace TrimGeometry
