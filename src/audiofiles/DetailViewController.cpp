#include "audiofiles/DetailViewController.h"

#include <QFileInfo>
#include <QLabel>
#include <QVBoxLayout>

DetailViewController::DetailViewController(QWidget* parent) : QWidget(parent), mName(new QLabel(this))
{
    auto* layout = new QVBoxLayout(this);
    mName->setAlignment(Qt::AlignCenter);
    mName->setWordWrap(true);
    layout->addWidget(mName);
}

void DetailViewController::setDetailItem(const QString& path)
{
    mDetailItem = path;
    mName->setText(QFileInfo(path).fileName());
    setWindowTitle(QFileInfo(path).fileName());
}
