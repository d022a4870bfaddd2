#include "audiofiles/screens/TrimPanel.h"

#include "audiofiles/editor/TrimSettings.h"
#include "ui/screens/Stepper.h"
#include "ui/screens/Theme.h"

#include <QEvent>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalBlocker>
#include <QTabBar>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace {

const QString kCaptionColor = QStringLiteral("#808080");  // white 0.5
const QString kValueColor = QStringLiteral("#cccccc");    // white 0.8
const QString kSnapTitle = QStringLiteral("SNAP TO BEAT");
const QString kTempoPrefix = QStringLiteral("♩= ");
constexpr int kPanelHeight = 100;
constexpr int kGridSpacing = 4;
const QString kNudgeTips[] = {QStringLiteral("100 ms earlier"), QStringLiteral("10 ms earlier"),
                              QStringLiteral("1 ms earlier"),   QStringLiteral("1 ms later"),
                              QStringLiteral("10 ms later"),    QStringLiteral("100 ms later")};

// Pages fit the panel's height without the layout's default margins.
QGridLayout* pageGrid(QWidget* page)
{
    auto* grid = new QGridLayout(page);
    grid->setContentsMargins(kGridSpacing, kGridSpacing, kGridSpacing, kGridSpacing);
    grid->setSpacing(kGridSpacing);
    return grid;
}

Stepper* fadeStepper(QWidget* parent)
{
    auto* stepper = new Stepper(parent);
    stepper->setRange(0, TrimSettings::kFadeMaximum);
    stepper->setStepValue(TrimSettings::kFadeStep);
    stepper->setDecimals(TrimSettings::kFadeDecimals);
    stepper->setDragSensitivity(TrimSettings::kFadeDragSensitivity);
    stepper->setFormatter(EditorTexts::fadeText);
    return stepper;
}

int buttonIndex(int tag)
{
    return tag < 0 ? -tag - 1 : TrimSettings::kNudgeButtonCount + tag - 1;
}

}  // namespace

TrimPanel::TrimPanel(QWidget* parent)
    : QWidget(parent),
      mSelection(new QLabel(this)),
      mTabs(new QTabBar(this)),
      mScroll(new QScrollArea(this)),
      mPages(new QWidget),
      mFadeIn(fadeStepper(this)),
      mFadeOut(fadeStepper(this)),
      mTempo(new Stepper(this)),
      mSnapToggle(new QPushButton(this))
{
    mSelection->setTextFormat(Qt::RichText);
    for (const char* title : {"FADE", "NUDGE", "SNAP"})
        mTabs->addTab(QString::fromLatin1(title));
    mTabs->setToolTip(QStringLiteral("Fades, nudging the handles, snapping to the beat"));
    mTabs->setExpanding(true);
    mSelection->setToolTip(QStringLiteral("The region to keep"));
    connect(mTabs, &QTabBar::currentChanged, this,
            [this](int tab) { emit tabChanged(tab, std::exchange(mLastTab, tab)); });

    mScroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mScroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    mScroll->setFrameShape(QFrame::NoFrame);
    mScroll->setWidgetResizable(false);
    mScroll->setFixedHeight(kPanelHeight);
    auto* pages = new QHBoxLayout(mPages);
    pages->setContentsMargins(0, 0, 0, 0);
    pages->setSpacing(0);
    mPageWidgets = {buildFadePage(), buildNudgePage(), buildSnapPage()};
    for (QWidget* page : mPageWidgets)
        pages->addWidget(page);
    mScroll->setWidget(mPages);
    // The pages get the viewport's width: the column must leave each of them room for its controls.
    int pageWidth = 0;
    for (QWidget* page : mPageWidgets)
        pageWidth = std::max(pageWidth, page->minimumSizeHint().width());
    mScroll->setMinimumWidth(pageWidth);
    mScroll->viewport()->installEventFilter(this);

    // The region's text beside the pages, not above them: low windows keep room for the waveform.
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(kGridSpacing);
    layout->addWidget(mSelection, 0, 0, 2, 1, Qt::AlignTop);
    layout->addWidget(mTabs, 0, 1);
    layout->addWidget(mScroll, 1, 1);
    layout->setColumnStretch(1, 1);
    setSnap(false);
}

QWidget* TrimPanel::buildFadePage()
{
    auto* page = new QWidget;
    auto* grid = pageGrid(page);
    mFadeIn->setToolTip(QStringLiteral("Fade-in length"));
    mFadeOut->setToolTip(QStringLiteral("Fade-out length"));
    grid->addWidget(new QLabel(QStringLiteral("FADE IN")), 0, 0);
    grid->addWidget(mFadeIn, 0, 1);
    grid->addWidget(new QLabel(QStringLiteral("FADE OUT")), 1, 0);
    grid->addWidget(mFadeOut, 1, 1);
    grid->setColumnStretch(2, 1);  // wide windows leave the steppers at their size
    return page;
}

QWidget* TrimPanel::buildNudgePage()
{
    auto* page = new QWidget;
    auto* grid = pageGrid(page);
    const int count = TrimSettings::kNudgeButtonCount;
    grid->addWidget(new QLabel(QStringLiteral("NUDGE START")), 0, 0, 1, count);
    grid->addWidget(new QLabel(QStringLiteral("NUDGE END")), 2, 0, 1, count);
    for (const bool start : {true, false}) {
        for (int i = 0; i < count; ++i) {
            const int tag = TrimSettings::nudgeTag(start, i);
            auto* button = new QPushButton(TrimSettings::nudgeTitle(i));
            button->setProperty("tag", tag);
            button->setToolTip((start ? QStringLiteral("Start ") : QStringLiteral("End ")) + kNudgeTips[i]);
            Theme::setCompact(button);
            connect(button, &QPushButton::clicked, this, [this, tag] { emit nudgePressed(tag); });
            grid->addWidget(button, start ? 1 : 3, i);
            mNudgeButtons[size_t(buttonIndex(tag))] = button;
        }
    }
    grid->setColumnStretch(count, 1);
    return page;
}

QWidget* TrimPanel::buildSnapPage()
{
    auto* page = new QWidget;
    auto* grid = pageGrid(page);
    mSnapToggle->setToolTip(QStringLiteral("Move the handles in whole beats"));
    mTempo->setToolTip(QStringLiteral("Tempo of the beats"));
    connect(mSnapToggle, &QPushButton::clicked, this, &TrimPanel::snapTapped);
    mTempo->setRange(TrimSettings::kTempoMinimum, TrimSettings::kTempoMaximum);
    mTempo->setDecimals(TrimSettings::kTempoDecimals);
    mTempo->setPrefix(kTempoPrefix);
    grid->addWidget(mSnapToggle, 0, 0, 1, 2);
    grid->addWidget(new QLabel(QStringLiteral("TEMPO")), 1, 0);
    grid->addWidget(mTempo, 1, 1);
    grid->setColumnStretch(2, 1);
    return page;
}

QPushButton* TrimPanel::nudgeButton(int tag) const
{
    if (TrimSettings::nudgeStep(tag) == 0)
        return nullptr;
    return mNudgeButtons[size_t(buttonIndex(tag))];
}

void TrimPanel::setSnap(bool on)
{
    mSnapToggle->setText((on ? QStringLiteral("☒ ") : QStringLiteral("☐ ")) + kSnapTitle);
}

void TrimPanel::setSelectionText(const QList<EditorTexts::TextRun>& runs)
{
    mSelectionText = EditorTexts::plainText(runs);
    QString html;
    for (const EditorTexts::TextRun& run : runs)
        html += QStringLiteral("<span style=\"color:%1\">%2</span>")
                    .arg(run.caption ? kCaptionColor : kValueColor, run.text.toHtmlEscaped().replace('\n', "<br>"));
    mSelection->setText(html);
}

void TrimPanel::showPage(int index)
{
    if (mTabs->currentIndex() != index) {
        const QSignalBlocker quiet(mTabs);
        mTabs->setCurrentIndex(index);
        mLastTab = index;
    }
    mScroll->horizontalScrollBar()->setValue(index * mScroll->viewport()->width());
}

int TrimPanel::shownPage() const
{
    const int width = mScroll->viewport()->width();
    return width > 0 ? mScroll->horizontalScrollBar()->value() / width : 0;
}

bool TrimPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == mScroll->viewport() && event->type() == QEvent::Resize)
        layoutPages();
    return QWidget::eventFilter(watched, event);
}

void TrimPanel::layoutPages()
{
    // Each page is exactly as wide as the visible part, so that a page index scrolls to it.
    const QSize page = mScroll->viewport()->size();
    for (QWidget* widget : mPageWidgets)
        widget->setFixedSize(page);
    mPages->setFixedSize(page.width() * kPageCount, page.height());
    mScroll->horizontalScrollBar()->setValue(mTabs->currentIndex() * page.width());
}
