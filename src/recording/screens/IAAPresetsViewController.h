#pragma once
#include "recording/IaaSetups.h"

#include <QWidget>

class QLabel;
class QListWidget;
class QListWidgetItem;

// The saved slot setups: save the current one under a name, empty every slot, load a setup
// (its units with their settings), delete one (Delete key or the row's menu).
class IAAPresetsViewController : public QWidget {
    Q_OBJECT
public:
    explicit IAAPresetsViewController(QWidget* parent = nullptr);

    QListWidget* list() const { return mList; }
    void refreshList();
    // "Save setup": asks for a name, then saves; the name is given directly by tests.
    void savePress();
    void saveSetup(const QString& name);
    void clearPress();
    void loadSetup(int index);
    void deleteSetup(int index);
    const QList<IaaSetups::Setup>& setups() const { return mSetups; }

signals:
    // A setup finished loading (after its rebuild).
    void setupLoaded();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void choose(QListWidgetItem* item);

    QList<IaaSetups::Setup> mSetups;
    QListWidget* mList;
    QLabel* mSpinner;
};
