#pragma once
#include <QStringList>
#include <QWidget>

class QButtonGroup;

// A row of segments of which at most one is selected. A momentary control selects nothing
// and only reports taps.
class SegmentedControl : public QWidget {
    Q_OBJECT
public:
    explicit SegmentedControl(const QStringList& titles, bool momentary = false, QWidget* parent = nullptr);

    int selectedSegmentIndex() const;  // -1 when none
    void setSelectedSegmentIndex(int index);
    void setTitle(int index, const QString& title);
    QString title(int index) const;
    int count() const;

signals:
    // The user picked a segment (not emitted for setSelectedSegmentIndex).
    void segmentChosen(int index);

private:
    QButtonGroup* mGroup;
    bool mMomentary;
};
