// wavelocker: the application window, or the headless library service with --serve.
#include "shell/Startup.h"

#include <QApplication>
#include <QLabel>

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    Startup::registerDefaults();
    QLabel window(QStringLiteral("Wavelocker"));
    window.show();
    return app.exec();
}
