#include "ui/screens/Stepper.h"

#include <QSignalSpy>
#include <QTest>
#include <QToolButton>
#include <gtest/gtest.h>

TEST(Stepper, ClampsRoundsFormatsAndSteps)
{
    Stepper s;
    s.setRange(0, 999);
    s.setStepValue(0.001);
    s.setDecimals(3);
    s.setFormatter([](double v) { return v == 0 ? QString("OFF") : QString::number(v); });
    QSignalSpy changed(&s, &Stepper::valueChanged);
    EXPECT_EQ(s.text(), "OFF");
    s.setValue(0.0034);
    EXPECT_DOUBLE_EQ(s.value(), 0.003);
    EXPECT_EQ(s.text(), "0.003");
    s.setValue(0.003);  // unchanged: no signal
    s.setValue(-1);
    EXPECT_EQ(s.value(), 0);
    s.setValue(5000);
    EXPECT_EQ(s.value(), 999);
    EXPECT_EQ(changed.count(), 3);

    // The buttons step by the step value; the prefix goes before the text.
    Stepper tempo;
    tempo.setRange(1, 999);
    tempo.setDecimals(1);
    tempo.setPrefix("♩= ");
    tempo.setValue(120);
    const auto buttons = tempo.findChildren<QToolButton*>();
    ASSERT_EQ(buttons.size(), 2);
    QToolButton* plus = buttons[0]->text() == "+" ? buttons[0] : buttons[1];
    plus->click();
    EXPECT_DOUBLE_EQ(tempo.value(), 121);
    EXPECT_EQ(tempo.text(), "♩= 121.0");
}
