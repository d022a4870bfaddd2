#pragma once
#include <QLabel>

// A one-line label that shortens its text with "…" in the middle instead of widening its
// column: long file names never push the window wider.
class ElidedLabel : public QLabel {
    Q_OBJECT
public:
    explicit ElidedLabel(const QString& text = {}, QWidget* parent = nullptr);

    void setFullText(const QString& text);
    QString fullText() const { return mFullText; }

    QSize minimumSizeHint() const override;
    QSize sizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();

    QString mFullText;
};
