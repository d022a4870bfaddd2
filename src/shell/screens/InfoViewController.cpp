#include "shell/screens/InfoViewController.h"

#include "library/Utils.h"

#include <QCoreApplication>
#include <QLabel>
#include <QVBoxLayout>

InfoViewController::InfoViewController(QWidget* parent) : QWidget(parent)
{
    setWindowTitle(QStringLiteral("Info"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(20, 20, 20, 20);
    auto* name = new QLabel(QStringLiteral("<h2>Wavelocker %1</h2>").arg(QCoreApplication::applicationVersion()), this);
    auto* about = new QLabel(QStringLiteral("Your audio documents: record, browse, edit and share them.\n\n"
                                            "The library is the folder\n%1")
                                 .arg(Utils::documentsURL()),
                             this);
    about->setWordWrap(true);
    about->setTextInteractionFlags(Qt::TextSelectableByMouse);
    layout->addWidget(name);
    layout->addWidget(about);
    layout->addStretch();
}
