#pragma once
#include <QDialog>
#include <functional>

class QLabel;
class QLineEdit;
class QPushButton;

// A small modal name editor. With showKeepExtension the name's extension can be kept out of
// the field and put back on confirming.
class EditNameViewController : public QDialog {
    Q_OBJECT
public:
    explicit EditNameViewController(QWidget* parent = nullptr);

    // The proposed name in; after confirming, the chosen name.
    void setName(const QString& name);
    QString name() const { return mName; }
    void setButtonTitle(const QString& title);
    void setShowKeepExtension(bool show);
    bool keepExtension() const { return mKeep; }
    void setKeepExtension(bool keep);
    // Called once with the chosen name, or a null string when cancelled.
    std::function<void(const QString& name)> completionBlock;

    QLineEdit* textField() const { return mField; }
    QPushButton* keepExtensionButton() const { return mKeepButton; }
    QPushButton* confirmButton() const { return mConfirm; }

private:
    void finish(const QString& result);
    void updateKeepButton();
    void updateHint();

    QLineEdit* mField;
    QPushButton* mKeepButton;
    QLabel* mHint;
    QPushButton* mConfirm;
    QString mName;
    bool mKeep = true;
    bool mShowKeep = false;
    bool mFinished = false;
};
