#pragma once
#include "recording/RemoteAU.h"

#include <QList>
#include <QString>
#include <QVariantMap>

// What the unit chooser shows for one slot: section 0 the "none" row (and the file player
// for the source slot), section 1 the installed units and groups of one app, section 2 the
// units one could install. The screen draws the rows and hands back the one picked.
class RAUChooserModel {
public:
    struct Row {
        enum Kind { None, FilePlayer, Unit, Group, Download };
        Kind kind = None;
        QString title;
        QString subtitle;
        QString image;  // a picture file, a resource name, or empty (drawn from the title)
        RemoteAU::Ptr unit;          // Unit, FilePlayer
        QList<RemoteAU::Ptr> group;  // Group
        QVariantMap download;        // Download
        bool current = false;        // the slot's unit, or inside the group that holds it
    };
    static constexpr int kSections = 3;

    // The chooser the recorder opens for a slot: 0 the source, 1-3 effects. slot0Title is
    // what feeds the input when something is routed into it (empty when nothing is).
    static RAUChooserModel forSlot(int slot, const QString& slot0Title = {});

    QString title;
    QString noneTitle;
    QString noneSubTitle;
    QString noneImage;
    QString iaaHeaderTitle;
    bool includeFakePlayer = false;
    bool disableSort = false;
    bool isGroup = false;  // the units of one group row, and nothing else
    RemoteAU::Ptr currentRAU;
    QList<RemoteAU::Item> remoteAUs;
    QVariantList downloadableItems;
    QStringList leftOut;  // plugins that crashed or hung while loading, by URI

    QList<Row> rows(int section) const;
    QString sectionTitle(int section) const;
    QString footer() const;
    // The sort button: "A-Z" while by name, "◷" while most recently used first.
    QString sortTitle() const;
    bool sortsByName() const { return mByName; }
    void toggleSort();
    // The chooser for the units of one group row.
    RAUChooserModel groupModel(const Row& groupRow) const;

private:
    bool mByName = false;
};
