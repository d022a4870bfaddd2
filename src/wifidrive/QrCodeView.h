#pragma once
#include "platform/QrCode.h"

#include <QWidget>

// Draws the QR code of a text, black on a white square with the quiet zone readers need;
// nothing while the text is empty.
class QrCodeView : public QWidget {
    Q_OBJECT
public:
    explicit QrCodeView(QWidget* parent = nullptr);

    void setText(const QString& text);
    const QString& text() const { return mText; }
    const QrCode& code() const { return mCode; }
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString mText;
    QrCode mCode;
};
