// The generic panel of a live unit, against the probe plugin of tests/resources/probe.lv2.
#include "platform/NotificationCenter.h"
#include "platform/Notifications.h"
#include "platform/lv2/Lv2World.h"
#include "recording/RemoteAU.h"
#include "recording/RemoteAudioUnit.h"
#include "recording/screens/UnitControlPanel.h"
#include "recording/screens/UnitInterfaceWindow.h"
#include "support/BuildPaths.h"

#include <QCoreApplication>
#include <QLabel>
#include <QSlider>
#include <array>
#include <gtest/gtest.h>
#include <vector>

TEST(UnitControlPanel, ChangesReachThePluginAndThePluginsValuesShow)
{
    qputenv("LV2_PATH", (testsupport::lv2Dir() + QStringLiteral(":/usr/lib/lv2")).toLocal8Bit());
    const auto* info = platform::lv2::World::shared().find(QStringLiteral("urn:wavelocker:test:probe"));
    ASSERT_TRUE(info);
    int error = 0;
    auto unit = RemoteAudioUnit::create(RemoteAU::fromPlugin(*info), 48000, 512, &error);
    ASSERT_TRUE(unit) << error;
    platform::lv2::Plugin& plugin = unit->plugin();

    // No X11 display here: the unit's own interface cannot open, the panel stands in.
    EXPECT_EQ(UnitInterfaceWindow::open(unit), nullptr);
    UnitControlPanel panel(unit);
    EXPECT_EQ(panel.windowTitle(), "Host Probe");
    const QList<QSlider*> sliders = panel.findChildren<QSlider*>();
    ASSERT_EQ(sliders.size(), 1);  // the gain; the rest are the plugin's outputs
    QSlider* gain = sliders.front();
    EXPECT_EQ(gain->value(), 250);  // 1 of 0 to 4
    gain->setValue(500);
    EXPECT_FLOAT_EQ(plugin.controlValue(QStringLiteral("gain")), 2.0f);

    // A change made elsewhere moves the slider, without sending it back.
    plugin.setControlValue(QStringLiteral("gain"), 3.0f);
    panel.refresh();
    EXPECT_EQ(gain->value(), 750);
    EXPECT_FLOAT_EQ(plugin.controlValue(QStringLiteral("gain")), 3.0f);

    // The outputs show what the plugin last reported.
    auto shown = [&](const QString& name) {
        for (QLabel* label : panel.findChildren<QLabel*>())
            if (label->text() == name)
                if (auto* field = qobject_cast<QLabel*>(label->buddy()))
                    return field->text();
        return QStringLiteral("?");
    };
    std::vector<float> left(512, 0.0f), right(512, 0.0f);
    std::array<float*, 2> buffers{left.data(), right.data()};
    platform::lv2::Transport rolling;
    rolling.rolling = true;
    plugin.process(buffers.data(), 512, nullptr, 0, rolling);
    panel.refresh();
    EXPECT_EQ(shown("Tempo"), "120");
    EXPECT_EQ(shown("Nominal block"), "512");
    EXPECT_EQ(shown("Speed"), "1");

    // A graph that no longer holds the unit closes its window.
    panel.show();
    ASSERT_TRUE(panel.isVisible());
    platform::NotificationCenter::defaultCenter().post(notifications::kUpdatedIAAGraph);
    QCoreApplication::processEvents();
    EXPECT_FALSE(panel.isVisible());
}
