#pragma once
#include "recording/RAUChooserModel.h"

#include <QWidget>
#include <functional>
#include <optional>

class QLabel;
class QListWidget;
class QListWidgetItem;
class QPushButton;
class NavigationController;

// The unit chooser for one slot: the "none" row, the installed units (a group of one app
// opens its units), the units one could install (opening their page), and the order button.
class RAUViewController : public QWidget {
    Q_OBJECT
public:
    explicit RAUViewController(RAUChooserModel model, QWidget* parent = nullptr);

    // The recorder's slot button: pushes the chooser for the slot; a unit picked is loaded
    // into the slot (the graph rebuilt, a failure's alert shown), then the chooser is popped
    // and done (may be empty) runs. slot0Title: what feeds the input when routed, else empty.
    static RAUViewController* pushForSlot(NavigationController* navigation, int slot, const QString& slot0Title = {},
                                          std::function<void()> done = {});
    // loadRau:toSlot: — the unit (null: none) into the slot, a failure's alert shown. A plugin
    // not checked yet is checked in the background first: done (may be empty) runs on the main
    // thread once the slot is settled or a later choice took over, unless context is gone.
    static void loadRau(const RemoteAU::Ptr& rau, int slot, QObject* context, std::function<void()> done = {});

    // rauViewController:selectedRAU: — the unit picked, null for the "none" row.
    std::function<void(RAUViewController*, RemoteAU::Ptr)> selectedRAU;
    // The order button, for the navigation bar ("A-Z" or "◷").
    QPushButton* sortButton() const { return mSort; }
    QListWidget* list() const { return mList; }
    const RAUChooserModel& model() const { return mGroup ? *mGroup : mModel; }

    void sortPress();
    // Acts on a row as a click does.
    void choose(QListWidgetItem* item);

private:
    void reload();

    RAUChooserModel mModel;
    std::optional<RAUChooserModel> mGroup;
    QListWidget* mList;
    QLabel* mFooter;
    QPushButton* mSort;
};
