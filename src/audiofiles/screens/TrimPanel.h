#pragma once
#include "audiofiles/editor/EditorTexts.h"

#include <QWidget>
#include <array>

class QLabel;
class QPushButton;
class QScrollArea;
class QTabBar;
class Stepper;

// The trim state's controls: the selection text and a three-page panel (FADE, NUDGE, SNAP)
// under a tab bar. It only shows values and forwards input; the editor acts on it.
class TrimPanel : public QWidget {
    Q_OBJECT
public:
    static constexpr int kPageCount = 3;

    explicit TrimPanel(QWidget* parent = nullptr);

    Stepper* fadeInStepper() const { return mFadeIn; }
    Stepper* fadeOutStepper() const { return mFadeOut; }
    Stepper* tempoStepper() const { return mTempo; }
    QPushButton* snapToggle() const { return mSnapToggle; }
    // The nudge button carrying this tag, nullptr for none.
    QPushButton* nudgeButton(int tag) const;
    QTabBar* tabBar() const { return mTabs; }

    void setSnap(bool on);
    void setSelectionText(const QList<EditorTexts::TextRun>& runs);
    QString selectionText() const { return mSelectionText; }
    // Scrolls the panel to a page and marks its tab; a tap on a tab only reports tabChanged.
    void showPage(int index);
    int shownPage() const;

signals:
    void nudgePressed(int tag);
    void snapTapped();
    void tabChanged(int tab, int fromTab);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* buildFadePage();
    QWidget* buildNudgePage();
    QWidget* buildSnapPage();
    void layoutPages();

    QLabel* mSelection;
    QString mSelectionText;
    QTabBar* mTabs;
    QScrollArea* mScroll;
    QWidget* mPages;
    std::array<QWidget*, kPageCount> mPageWidgets{};
    Stepper* mFadeIn;
    Stepper* mFadeOut;
    Stepper* mTempo;
    QPushButton* mSnapToggle;
    std::array<QPushButton*, 12> mNudgeButtons{};
    int mLastTab = 0;
};
