#pragma once
#include "library/DetailScreen.h"

#include <QWidget>

class QLabel;

// The right column: the file the browser opened.
class DetailViewController : public QWidget, public DetailScreen {
    Q_OBJECT
public:
    explicit DetailViewController(QWidget* parent = nullptr);

    void setDetailItem(const QString& path) override;
    QString detailItem() const override { return mDetailItem; }
    void maybeSaveText() override {}

private:
    QString mDetailItem;
    QLabel* mName;
};
