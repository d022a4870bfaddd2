#pragma once
#include "audiofiles/ConversionOptions.h"
#include "audiofiles/editor/BatchTools.h"

#include <QObject>
#include <QPointer>
#include <QStringList>
#include <functional>

class ConvertViewController;
class ProgressHUD;
class QAction;
class QWidget;

// "Normalize" and "Convert…" over the files picked in the library list: the audio files among
// them are processed one after the other in the background, under one overlay with a bar over
// the whole batch and a Cancel button. The results join the library beside their sources.
class BatchToolsController : public QObject {
    Q_OBJECT
public:
    // What the list has picked (paths in list order); asked when an action is triggered
    // without paths of its own in its data (a context menu gives it those).
    using SelectionBlock = std::function<QStringList()>;

    BatchToolsController(QWidget* host, SelectionBlock selection, QObject* parent = nullptr);

    QAction* normalizeAction() const { return mNormalizeAction; }
    QAction* convertAction() const { return mConvertAction; }

    void normalizeSelection();
    // Asks for the format with the convert screen, then converts.
    void convertSelection();
    void normalize(const QStringList& sources);
    void convert(const QStringList& sources, const ConversionOptions& options);

    bool isRunning() const { return mRunning; }
    ProgressHUD* overlay() const;
    ConvertViewController* convertScreen() const;

signals:
    void finished(const BatchTools::Outcome& outcome);

private:
    using Job = std::function<BatchTools::Outcome(const BatchTools::ProgressBlock&, const Utils::CancelFlag*)>;
    // The audio files among what the list picked; empty (after telling why) when none.
    QStringList sourcesFor(const QString& tool, const QAction* action) const;
    void run(const QString& verb, const QString& pastTense, const QStringList& sources, Job job);

    QWidget* mHost;
    SelectionBlock mSelection;
    QAction* mNormalizeAction;
    QAction* mConvertAction;
    QPointer<ProgressHUD> mOverlay;
    QPointer<ConvertViewController> mConvertScreen;
    bool mRunning = false;
};
