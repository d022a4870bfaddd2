#include "ui/screens/ProgressHUD.h"

#include <QEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

namespace {
const int kAutoDismissMs = 1200;
const int kBarSteps = 1000;
const int kPanelWidth = 280;
const QColor kShade(0, 0, 0, 110);
const QColor kPanel(30, 30, 30, 230);
}  // namespace

QPointer<ProgressHUD> ProgressHUD::showWithMessage(QWidget* host, const QString& message,
                                                   std::function<void()> cancelAction)
{
    QWidget* window = host->window() ? host->window() : host;
    auto* hud = new ProgressHUD(window);
    hud->mLabel->setText(message);
    hud->mCancelAction = std::move(cancelAction);
    hud->mCancelButton->setVisible(bool(hud->mCancelAction));
    hud->setGeometry(window->rect());
    hud->show();
    hud->raise();
    hud->setFocus();
    return hud;
}

ProgressHUD::ProgressHUD(QWidget* window)
    : QWidget(window),
      mLabel(new QLabel(this)),
      mBar(new QProgressBar(this)),
      mCancelButton(new QPushButton(tr("Cancel"), this)),
      mOkButton(new QPushButton(tr("OK"), this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    setFocusPolicy(Qt::StrongFocus);
    mLabel->setWordWrap(true);
    mLabel->setAlignment(Qt::AlignCenter);
    mLabel->setFixedWidth(kPanelWidth - 40);
    mLabel->setStyleSheet(QStringLiteral("color: white;"));
    mBar->setRange(0, kBarSteps);
    mBar->setTextVisible(false);
    mBar->setFixedWidth(kPanelWidth - 40);
    mBar->hide();
    mOkButton->hide();

    auto* layout = new QVBoxLayout(this);
    layout->setAlignment(Qt::AlignCenter);
    layout->setSpacing(14);
    layout->addWidget(mLabel, 0, Qt::AlignCenter);
    layout->addWidget(mBar, 0, Qt::AlignCenter);
    layout->addWidget(mCancelButton, 0, Qt::AlignCenter);
    layout->addWidget(mOkButton, 0, Qt::AlignCenter);

    connect(mCancelButton, &QPushButton::clicked, this, [this] {
        mCancelButton->setEnabled(false);
        if (auto action = std::exchange(mCancelAction, nullptr))
            action();
    });
    connect(mOkButton, &QPushButton::clicked, this, &ProgressHUD::dismiss);
    window->installEventFilter(this);
}

void ProgressHUD::setMessage(const QString& message) { mLabel->setText(message); }

void ProgressHUD::setProgress(float fraction)
{
    mBar->setValue(int(std::clamp(fraction, 0.0f, 1.0f) * kBarSteps));
    if (!mClosing)
        mBar->show();
}

void ProgressHUD::makeAutoDismissMessage(const QString& message)
{
    showFinalMessage(message);
    QTimer::singleShot(kAutoDismissMs, this, &ProgressHUD::dismiss);
}

void ProgressHUD::makeDismissMessage(const QString& message)
{
    showFinalMessage(message);
    mOkButton->show();
    mOkButton->setFocus();
}

void ProgressHUD::showFinalMessage(const QString& message)
{
    mClosing = true;
    mCancelAction = nullptr;
    mLabel->setText(message);
    mBar->hide();
    mCancelButton->hide();
}

void ProgressHUD::dismiss()
{
    if (mDismissed)
        return;
    mDismissed = true;
    mClosing = true;
    emit dismissed();
    close();
}

QString ProgressHUD::message() const { return mLabel->text(); }
bool ProgressHUD::progressVisible() const { return !mBar->isHidden(); }
float ProgressHUD::progress() const { return float(mBar->value()) / kBarSteps; }

bool ProgressHUD::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        setGeometry(parentWidget()->rect());
    return QWidget::eventFilter(watched, event);
}

void ProgressHUD::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.fillRect(rect(), kShade);
    const QRect panel = childrenRect().adjusted(-20, -20, 20, 20);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kPanel);
    painter.drawRoundedRect(panel, 10, 10);
}

void ProgressHUD::keyPressEvent(QKeyEvent* event)
{
    // The overlay is modal: keys must not reach the window beneath.
    if (event->key() == Qt::Key_Escape && mCancelButton->isVisible() && mCancelButton->isEnabled())
        mCancelButton->click();
    event->accept();
}
