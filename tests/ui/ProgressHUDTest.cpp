#include "support/TempTree.h"
#include "ui/screens/ProgressHUD.h"

#include <QPushButton>
#include <QSignalSpy>
#include <gtest/gtest.h>

using testsupport::waitUntil;

namespace {
QPushButton* button(ProgressHUD* hud, const QString& text)
{
    for (auto* b : hud->findChildren<QPushButton*>())
        if (b->text() == text)
            return b;
    return nullptr;
}
}  // namespace

TEST(ProgressHUD, CoversWindowShowsProgressAndCancelsOnce)
{
    QWidget window;
    window.resize(400, 300);
    window.show();
    int cancels = 0;
    QPointer<ProgressHUD> hud =
        ProgressHUD::showWithMessage(&window, QStringLiteral("Importing music..."), [&] { ++cancels; });
    ASSERT_TRUE(hud);
    EXPECT_EQ(hud->geometry(), window.rect());
    EXPECT_EQ(hud->message(), QStringLiteral("Importing music..."));
    EXPECT_FALSE(hud->progressVisible());
    hud->setProgress(0.25f);
    EXPECT_TRUE(hud->progressVisible());
    EXPECT_FLOAT_EQ(hud->progress(), 0.25f);
    hud->setProgress(3.0f);
    EXPECT_FLOAT_EQ(hud->progress(), 1.0f);

    window.resize(500, 420);
    EXPECT_TRUE(waitUntil([&] { return hud->geometry() == window.rect(); }));

    QPushButton* cancel = button(hud, QStringLiteral("Cancel"));
    ASSERT_TRUE(cancel && cancel->isVisible());
    cancel->click();
    cancel->click();
    EXPECT_EQ(cancels, 1);
    hud->dismiss();
    EXPECT_TRUE(waitUntil([&] { return hud.isNull(); }));
}

TEST(ProgressHUD, FinalMessagesCloseByThemselvesOrByOk)
{
    QWidget window;
    window.resize(300, 200);
    window.show();

    QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(&window, QStringLiteral("Compressing to Zip"));
    EXPECT_FALSE(button(hud, QStringLiteral("Cancel"))->isVisible());
    hud->setProgress(0.5f);
    QSignalSpy spy(hud.data(), &ProgressHUD::dismissed);
    hud->makeAutoDismissMessage(QStringLiteral("Zipped"));
    EXPECT_EQ(hud->message(), QStringLiteral("Zipped"));
    EXPECT_FALSE(hud->progressVisible());
    EXPECT_TRUE(waitUntil([&] { return hud.isNull(); }));
    EXPECT_EQ(spy.count(), 1);

    hud = ProgressHUD::showWithMessage(&window, QStringLiteral("Working"));
    hud->makeDismissMessage(QStringLiteral("Failed"));
    QPushButton* ok = button(hud, QStringLiteral("OK"));
    ASSERT_TRUE(ok && ok->isVisible());
    EXPECT_FALSE(waitUntil([&] { return hud.isNull(); }, 1800));
    ok->click();
    EXPECT_TRUE(waitUntil([&] { return hud.isNull(); }));
}
