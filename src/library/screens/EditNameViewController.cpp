#include "library/screens/EditNameViewController.h"

#include "library/KeepExtensionName.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace {
const QString kKeepUnchecked = QStringLiteral("☐ Keep extension");
const QString kKeepChecked = QStringLiteral("☒ Keep extension");
const int kMinimumWidth = 320;
}  // namespace

EditNameViewController::EditNameViewController(QWidget* parent)
    : QDialog(parent),
      mField(new QLineEdit(this)),
      mKeepButton(new QPushButton(this)),
      mHint(new QLabel(this)),
      mConfirm(new QPushButton(tr("OK"), this))
{
    mHint->setWordWrap(true);
    mHint->hide();
    setModal(true);
    setMinimumWidth(kMinimumWidth);
    mKeepButton->setFlat(true);
    mKeepButton->hide();
    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(mConfirm, QDialogButtonBox::AcceptRole);
    buttons->addButton(QDialogButtonBox::Cancel);
    mConfirm->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(mField);
    layout->addWidget(mKeepButton, 0, Qt::AlignLeft);
    layout->addWidget(mHint);
    layout->addWidget(buttons);

    connect(mField, &QLineEdit::textChanged, this, [this](const QString& text) {
        mConfirm->setEnabled(!text.trimmed().isEmpty());
        updateHint();
    });
    connect(mKeepButton, &QPushButton::clicked, this, [this] { setKeepExtension(!mKeep); });
    connect(buttons, &QDialogButtonBox::accepted, this, [this] {
        if (mField->text().trimmed().isEmpty())
            return;
        finish(KeepExtensionName::finalName(mField->text(), mName, mShowKeep && mKeep));
    });
    connect(buttons, &QDialogButtonBox::rejected, this, [this] { finish(QString()); });
    updateKeepButton();
}

void EditNameViewController::setName(const QString& name)
{
    mName = name;
    mField->setText(mShowKeep && mKeep ? KeepExtensionName::fieldText(name, mName, true) : name);
    mField->selectAll();
}

void EditNameViewController::setButtonTitle(const QString& title) { mConfirm->setText(title); }

void EditNameViewController::setShowKeepExtension(bool show)
{
    mShowKeep = show;
    mKeepButton->setVisible(show);
    mField->setText(KeepExtensionName::fieldText(mField->text(), mName, show && mKeep));
}

void EditNameViewController::setKeepExtension(bool keep)
{
    mKeep = keep;
    updateKeepButton();
    if (mShowKeep)
        mField->setText(KeepExtensionName::fieldText(mField->text(), mName, keep));
}

void EditNameViewController::updateKeepButton()
{
    mKeepButton->setText(mKeep ? kKeepChecked : kKeepUnchecked);
    updateHint();
}

void EditNameViewController::updateHint()
{
    const QString hint = KeepExtensionName::hint(mField->text(), mName, mShowKeep && mKeep);
    if (hint == mHint->text())
        return;
    mHint->setText(hint);
    mHint->setVisible(!hint.isEmpty());
    // Room for the lines, at the width the editor has.
    if (isVisible()) {
        layout()->activate();
        const int height = heightForWidth(width());
        resize(width(), height > 0 ? height : sizeHint().height());
    }
}

void EditNameViewController::finish(const QString& result)
{
    if (mFinished)
        return;
    mFinished = true;
    if (!result.isNull())
        mName = result;
    if (result.isNull())
        reject();
    else
        accept();
    if (completionBlock)
        completionBlock(result);
}
