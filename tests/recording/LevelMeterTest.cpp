#include "recording/LevelMeterModel.h"
#include "recording/screens/LevelMeter.h"

#include <QImage>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <vector>

namespace {

using Reading = LevelMeterModel::Reading;
constexpr float kTol = 1e-5f;
const float kMinusInf = -std::numeric_limits<float>::infinity();

void steps(LevelMeterModel& m, const std::vector<Reading>& readings, int count)
{
    for (int i = 0; i < count; ++i)
        m.step(readings);
}

}  // namespace

// Values worked out by hand from the scale (v + 60) / 63, the average's fall of 0.02 and the
// peak's fall of 0.01 per redraw.
TEST(LevelMeterModel, ScaleRiseAndLinearFalls)
{
    EXPECT_NEAR(LevelMeterModel::scale(-60), 0.0f, kTol);
    EXPECT_NEAR(LevelMeterModel::scale(3), 1.0f, kTol);
    EXPECT_NEAR(LevelMeterModel::scale(0), 0.952381f, kTol);

    LevelMeterModel m(2);
    EXPECT_EQ(m.shownPeak(0), 0.0f);
    EXPECT_EQ(m.shownAverage(1), 0.0f);
    // Left: peak 0, average -30; right: peak -6, average -12.
    m.step(std::vector<Reading>{{0, -30}, {-6, -12}});
    EXPECT_NEAR(m.shownAverage(0), 0.456190f, kTol);  // 30/63 - 0.02
    EXPECT_NEAR(m.shownPeak(0), 0.942381f, kTol);     // 60/63 - 0.01
    EXPECT_NEAR(m.shownAverage(1), 0.741905f, kTol);  // 48/63 - 0.02
    EXPECT_NEAR(m.shownPeak(1), 0.847143f, kTol);     // 54/63 - 0.01
    // A quieter reading does not pull the bars down faster than the fall.
    m.step(std::vector<Reading>{{-50, -59}, {-50, -59}});
    EXPECT_NEAR(m.shownAverage(0), 0.436190f, kTol);
    EXPECT_NEAR(m.shownPeak(0), 0.932381f, kTol);
    // A louder one shows at once.
    m.step(std::vector<Reading>{{3, -3}, {-6, -12}});
    EXPECT_NEAR(m.shownAverage(0), 0.884762f, kTol);  // 57/63 - 0.02
    EXPECT_NEAR(m.shownPeak(0), 0.99f, kTol);
    EXPECT_NEAR(m.shownAverage(1), 0.741905f, kTol);

    // Without a source the average falls to 0 and the peak keeps falling from where it was.
    m.step({});
    EXPECT_NEAR(m.shownAverage(0), 0.864762f, kTol);
    EXPECT_NEAR(m.shownPeak(0), 0.98f, kTol);
    steps(m, {}, 200);
    EXPECT_EQ(m.shownAverage(0), 0.0f);
    EXPECT_EQ(m.shownPeak(0), 0.0f);
    EXPECT_EQ(m.shownPeak(1), 0.0f);
}

TEST(LevelMeterModel, FullScaleFallTakes100And50RedrawsAndSilenceEmpties)
{
    LevelMeterModel m(1);
    // A full-scale buffer, then the recorder's silence: average clamped to -160, peak -inf.
    const std::vector<Reading> loud{{3, 3}};
    const std::vector<Reading> silence{{kMinusInf, -160}};
    m.step(loud);  // redraw 1
    EXPECT_NEAR(m.shownAverage(0), 0.98f, kTol);
    EXPECT_NEAR(m.shownPeak(0), 0.99f, kTol);
    steps(m, silence, 48);  // redraw 49
    EXPECT_NEAR(m.shownAverage(0), 0.02f, kTol);
    steps(m, silence, 1);  // redraw 50: the average bar is empty
    EXPECT_NEAR(m.shownAverage(0), 0.0f, kTol);
    EXPECT_NEAR(m.shownPeak(0), 0.50f, kTol);
    steps(m, silence, 49);  // redraw 99
    EXPECT_NEAR(m.shownPeak(0), 0.01f, kTol);
    steps(m, silence, 1);  // redraw 100: the marker reached the foot
    EXPECT_NEAR(m.shownPeak(0), 0.0f, kTol);
    steps(m, silence, 1);
    EXPECT_EQ(m.shownPeak(0), 0.0f);
    EXPECT_EQ(m.shownAverage(0), 0.0f);
    // Nonsense from a source moves nothing up.
    m.step(std::vector<Reading>{{std::nanf(""), std::nanf("")}});
    EXPECT_EQ(m.shownPeak(0), 0.0f);
    EXPECT_EQ(m.shownAverage(0), 0.0f);
}

TEST(LevelMeterModel, ChannelCounts)
{
    LevelMeterModel m(5);
    EXPECT_EQ(m.numberOfChannels(), 2);
    m.setNumberOfChannels(0);
    EXPECT_EQ(m.numberOfChannels(), 1);
    // Mono: a second reading is ignored, the second channel stays empty.
    m.step(std::vector<Reading>{{0, 0}, {0, 0}});
    EXPECT_NEAR(m.shownAverage(0), 0.932381f, kTol);
    EXPECT_EQ(m.shownAverage(1), 0.0f);
    // Stereo fed with one reading: the second channel is as without a source.
    m.setNumberOfChannels(2);
    m.step(std::vector<Reading>{{-60, -60}});
    EXPECT_NEAR(m.shownAverage(0), 0.912381f, kTol);
    EXPECT_EQ(m.shownAverage(1), 0.0f);
}

// The widget pulls from its delegate once a redraw and draws the bar to the level's place.
TEST(LevelMeter, PullsFromDelegateAndDraws)
{
    LevelMeter meter;
    meter.setNumberOfChannels(2);
    meter.resize(400, meter.sizeHint().height());
    int calls = 0;
    meter.setDelegate([&](int channel) {
        ++calls;
        // Left at the middle of the scale (-28.5), right silent.
        return channel == 0 ? Reading{-28.5f, -28.5f} : Reading{kMinusInf, -160.0f};
    });
    meter.tick();
    EXPECT_EQ(calls, 2);
    EXPECT_NEAR(meter.model().shownAverage(0), 0.48f, kTol);  // 31.5/63 - 0.02
    EXPECT_EQ(meter.model().shownAverage(1), 0.0f);

    const QImage image = meter.grab().toImage();
    const int barLeft = 2 + LevelMeter::kLabelMargin;
    const int barWidth = 400 - 4 - LevelMeter::kLabelMargin;
    const int y = 2 + LevelMeter::kBarHeight / 2;
    auto isGreen = [](QColor c) { return c.green() > 120 && c.red() < 100 && c.blue() < 120; };
    EXPECT_TRUE(isGreen(image.pixelColor(barLeft + int(0.40 * barWidth), y)));
    EXPECT_FALSE(isGreen(image.pixelColor(barLeft + int(0.56 * barWidth), y)));
    const int yRight = y + LevelMeter::kBarHeight + 6;
    EXPECT_FALSE(isGreen(image.pixelColor(barLeft + 10, yRight)));

    meter.startUpdating();
    EXPECT_TRUE(meter.isUpdating());
    meter.stopUpdating();
    EXPECT_FALSE(meter.isUpdating());
}
