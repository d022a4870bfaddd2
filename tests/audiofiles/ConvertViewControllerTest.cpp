#include "audiofiles/ConvertViewController.h"
#include "support/TempTree.h"
#include "ui/SegmentedControl.h"

#include <QPushButton>
#include <gtest/gtest.h>

using namespace testsupport;

namespace {
void tap(SegmentedControl* control, int index)
{
    control->findChildren<QPushButton*>().at(index)->click();
}
}  // namespace

TEST(ConvertViewController, ControlsFollowTheOptionsAndTheirRules)
{
    TempTree tree;
    ConvertViewController screen;
    EXPECT_EQ(screen.windowTitle(), "Convert file");
    EXPECT_EQ(screen.formatControl()->title(0), "WAVE");
    EXPECT_EQ(screen.channelsControl()->selectedSegmentIndex(), 0);
    EXPECT_FALSE(screen.monoSourceControl()->isEnabled());
    EXPECT_EQ(screen.bitsControl()->selectedSegmentIndex(), 0);
    EXPECT_EQ(screen.sampleRateControl()->selectedSegmentIndex(), 2);
    EXPECT_EQ(screen.depthLabelText(), "Bit depth");

    tap(screen.channelsControl(), 1);
    EXPECT_EQ(screen.format.channels, 1);
    EXPECT_TRUE(screen.monoSourceControl()->isEnabled());
    tap(screen.monoSourceControl(), 2);
    EXPECT_EQ(screen.format.stereomono, 2);
    tap(screen.sampleRateControl(), 3);
    EXPECT_EQ(screen.format.samplerate, 22050);

    // 32 bits, then AIFF: the control shows 24 while the stored value stays 32 until touched.
    tap(screen.bitsControl(), 2);
    EXPECT_EQ(screen.format.bits, 32);
    screen.chooseFormat(1);
    EXPECT_EQ(screen.formatControl()->title(0), "AIFF");
    EXPECT_EQ(screen.bitsControl()->selectedSegmentIndex(), 1);
    EXPECT_EQ(screen.format.bits, 32);
    tap(screen.bitsControl(), 2);
    EXPECT_EQ(screen.bitsControl()->selectedSegmentIndex(), 1);
    EXPECT_EQ(screen.format.bits, 24);

    screen.chooseFormat(3);
    EXPECT_EQ(screen.depthLabelText(), "Bit rate (kb/s)");
    EXPECT_TRUE(screen.bitsControl()->isHidden());
    EXPECT_FALSE(screen.bitRateControl()->isHidden());
    // The encoder gives no more than 192 kb/s: higher choices spring back to it.
    tap(screen.bitRateControl(), 4);
    EXPECT_EQ(screen.bitRateControl()->selectedSegmentIndex(), 3);
    EXPECT_EQ(screen.format.bitrate, 192000);
    tap(screen.bitRateControl(), 1);
    EXPECT_EQ(screen.format.bitrate, 128000);

    // ALAC stops at 24 bits like AIFF.
    screen.chooseFormat(4);
    EXPECT_EQ(screen.bitsControl()->selectedSegmentIndex(), 1);
    tap(screen.bitsControl(), 2);
    EXPECT_EQ(screen.bitsControl()->selectedSegmentIndex(), 1);
    EXPECT_EQ(screen.format.bits, 24);
    tap(screen.bitsControl(), 0);
    screen.chooseFormat(3);

    std::optional<ConversionOptions> handed;
    bool called = false;
    screen.doneBlock = [&](const std::optional<ConversionOptions>& o) {
        called = true;
        handed = o;
    };
    screen.convertCancelPress();
    EXPECT_TRUE(called);
    EXPECT_FALSE(handed);
    EXPECT_EQ(ConversionOptions::stored().format, 0);
    screen.convertSavePress();
    ASSERT_TRUE(handed);
    EXPECT_EQ(handed->toMap(), screen.format.toMap());
    EXPECT_EQ(ConversionOptions::stored().toMap(), screen.format.toMap());

    // A stored value outside a control's choices selects nothing there.
    ConversionOptions odd;
    odd.samplerate = 32000;
    odd.store();
    ConvertViewController again;
    EXPECT_EQ(again.sampleRateControl()->selectedSegmentIndex(), -1);
}
