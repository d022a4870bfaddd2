#include "audiofiles/waveform/TrimGeometry.h"

#include <gtest/gtest.h>
#include <cmath>

using namespace TrimGeometry;

TEST(TrimGeometry, SnappingIsAnchoredAtTheStartHandle)
{
    EXPECT_NEAR(snapStart(1.3, 0.5), 1.5, 1e-12);
    EXPECT_NEAR(snapStart(1.2, 0.5), 1.0, 1e-12);
    EXPECT_NEAR(snapEnd(1.5, 2.6, 0.5), 2.5, 1e-12);
    // Off the grid at the start, the end keeps whole beats from the start, not from zero.
    EXPECT_NEAR(snapEnd(0.3, 1.4, 0.5), 1.3, 1e-12);
    EXPECT_NEAR(snapEnd(0.3, 1.6, 0.5), 1.8, 1e-12);
    EXPECT_NEAR(snapStart(2.0, 60.0 / 128), 4 * 0.46875, 1e-12);

    EXPECT_EQ(clipStart(-0.05, 3, 0), 0);
    EXPECT_EQ(clipStart(4, 3, 0), 3);
    EXPECT_EQ(clipEnd(1, 12, 10), 10);
    EXPECT_EQ(clipEnd(2, 1.5, 10), 2);
}

TEST(TrimGeometry, ZoomSpanRule)
{
    // 300 points at 1 ms each beat 2 % of 10 s.
    ZoomRange r = zoomRange(5, 300, 10);
    EXPECT_NEAR(r.span(), 0.3, 1e-12);
    EXPECT_NEAR(r.start, 4.85, 1e-12);
    // 2 % of a long file wins.
    EXPECT_NEAR(zoomRange(300, 300, 600).span(), 12, 1e-12);
    // Half of a short file wins over both.
    EXPECT_NEAR(zoomRange(0.1, 300, 0.4).span(), 0.2, 1e-12);
    // The centre is clipped so that the range stays inside the file.
    r = zoomRange(0.05, 300, 10);
    EXPECT_NEAR(r.start, 0, 1e-12);
    EXPECT_NEAR(r.end, 0.3, 1e-12);
    r = zoomRange(10, 300, 10);
    EXPECT_NEAR(r.end, 10, 1e-12);
    EXPECT_NEAR(r.start, 9.7, 1e-12);
}

TEST(TrimGeometry, BeatGridAndHandlePositions)
{
    const auto times = gridTimes(0, 3, 1.3, 0.5);
    ASSERT_EQ(times.size(), 6u);
    EXPECT_NEAR(times[0], 0.3, 1e-3);
    for (size_t i = 0; i < times.size(); ++i)
        EXPECT_NEAR(times[i], 1.3 + (double(i) - 2) * 0.5, 1e-3) << i;
    // A zoomed span shows only its own lines.
    const auto zoomed = gridTimes(1.0, 2.0, 1.3, 0.5);
    ASSERT_EQ(zoomed.size(), 2u);
    EXPECT_NEAR(zoomed[0], 1.3, 1e-3);
    EXPECT_TRUE(gridTimes(0, 3, 0, 0).empty());

    EXPECT_EQ(handleX(5, 0, 10, 300), 150.5);
    EXPECT_EQ(handleX(0, 0, 10, 300), 0.5);
    EXPECT_EQ(handleX(5.0, 4.85, 5.15, 300), 150.5);
}
