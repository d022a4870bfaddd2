#pragma once
#include <QPointer>
#include <QWidget>
#include <functional>

class QLabel;
class QProgressBar;
class QPushButton;

// A modal overlay over a window: a message, an optional progress bar and an optional cancel
// button. It ends with a message that closes itself or one the user dismisses, or at once.
// Lives on the main thread; work on other threads reaches it through platform::runOnMain
// and a QPointer, since the overlay may already be gone.
class ProgressHUD : public QWidget {
    Q_OBJECT
public:
    // Covers host's window (host itself when it has none) until dismissed; owned by it.
    // With a cancel action the overlay shows a "Cancel" button that calls it once.
    static QPointer<ProgressHUD> showWithMessage(QWidget* host, const QString& message,
                                                 std::function<void()> cancelAction = {});

    void setMessage(const QString& message);
    // Shows the bar at fraction 0..1 (values outside are clamped).
    void setProgress(float fraction);
    // Shows the message alone and closes after a short while.
    void makeAutoDismissMessage(const QString& message);
    // Shows the message with an "OK" button that closes the overlay.
    void makeDismissMessage(const QString& message);
    // Closes the overlay now.
    void dismiss();

    QString message() const;
    bool progressVisible() const;
    float progress() const;

signals:
    void dismissed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    explicit ProgressHUD(QWidget* window);
    void showFinalMessage(const QString& message);

    QLabel* mLabel;
    QProgressBar* mBar;
    QPushButton* mCancelButton;
    QPushButton* mOkButton;
    std::function<void()> mCancelAction;
    bool mClosing = false;  // a final message is showing
    bool mDismissed = false;
};
