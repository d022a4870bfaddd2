#include "ui/screens/SegmentedControl.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QHBoxLayout>
#include <QPushButton>

SegmentedControl::SegmentedControl(const QStringList& titles, bool momentary, QWidget* parent)
    : QWidget(parent), mGroup(new QButtonGroup(this)), mMomentary(momentary)
{
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(0);
    mGroup->setExclusive(false);  // exclusivity by hand, so "none selected" stays possible
    // The style's own checked look barely differs from a plain button on a dark palette.
    setStyleSheet(QStringLiteral("QPushButton:checked { background-color: palette(highlight);"
                                 " color: palette(highlighted-text); border: 1px solid palette(highlight);"
                                 " padding: 3px; }"));
    for (int i = 0; i < titles.size(); ++i) {
        auto* button = new QPushButton(titles[i], this);
        button->setCheckable(!momentary);
        mGroup->addButton(button, i);
        // Segments share the width equally, whatever their titles and state.
        button->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
        row->addWidget(button);
    }
    connect(mGroup, &QButtonGroup::idClicked, this, [this](int id) {
        if (!mMomentary)
            setSelectedSegmentIndex(id);
        emit segmentChosen(id);
    });
}

int SegmentedControl::selectedSegmentIndex() const
{
    for (QAbstractButton* b : mGroup->buttons())
        if (b->isChecked())
            return mGroup->id(b);
    return -1;
}

void SegmentedControl::setSelectedSegmentIndex(int index)
{
    for (QAbstractButton* b : mGroup->buttons())
        b->setChecked(mGroup->id(b) == index);
}

void SegmentedControl::setTitle(int index, const QString& title)
{
    if (QAbstractButton* b = mGroup->button(index))
        b->setText(title);
}

QString SegmentedControl::title(int index) const
{
    const QAbstractButton* b = mGroup->button(index);
    return b ? b->text() : QString();
}

int SegmentedControl::count() const { return int(mGroup->buttons().size()); }
