#pragma once
#include <QWidget>

// The info screen: what the program is and where the library lives.
class InfoViewController : public QWidget {
    Q_OBJECT
public:
    explicit InfoViewController(QWidget* parent = nullptr);
};
