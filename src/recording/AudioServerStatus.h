#pragma once
#include "platform/NotificationCenter.h"

#include <QObject>
#include <QString>
#include <QTimer>

// The short word the window gives when the audio server goes away, when it comes back, and
// when play finds none at all. The message that it is gone stays until it returns; the
// others clear themselves after a while.
class AudioServerStatus : public QObject {
    Q_OBJECT
public:
    static constexpr int kBackMessageMs = 6000;

    explicit AudioServerStatus(QObject* parent = nullptr);

    QString message() const { return mMessage; }

    static QString wentAwayText(const QString& time);
    static QString cameBackText(const QString& time);
    static QString unreachableText();

signals:
    void messageChanged(const QString& message);

private:
    void setMessage(const QString& message);

    QString mMessage;
    QTimer mClear;
    platform::ScopedObserver mBegan;
    platform::ScopedObserver mEnded;
    platform::ScopedObserver mUnreachable;
};
