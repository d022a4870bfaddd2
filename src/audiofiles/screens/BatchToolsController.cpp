#include "audiofiles/screens/BatchToolsController.h"

#include "audiofiles/screens/ConvertViewController.h"
#include "library/Utils.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "ui/screens/ProgressHUD.h"

#include <QAction>
#include <QFileInfo>
#include <QWidget>
#include <atomic>
#include <memory>

namespace {
constexpr float kProgressStep = 0.01f;  // the bar needs no more than a hundred steps

QString filesText(int count) { return count == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(count); }
}  // namespace

BatchToolsController::BatchToolsController(QWidget* host, SelectionBlock selection, QObject* parent)
    : QObject(parent),
      mHost(host),
      mSelection(std::move(selection)),
      mNormalizeAction(new QAction(QStringLiteral("Normalize Selected Files"), this)),
      mConvertAction(new QAction(QStringLiteral("Convert Selected Files\u2026"), this))
{
    mNormalizeAction->setToolTip(QStringLiteral("Normalize every audio file picked in the list"));
    mConvertAction->setToolTip(QStringLiteral("Convert every audio file picked in the list to one format"));
    connect(mNormalizeAction, &QAction::triggered, this, &BatchToolsController::normalizeSelection);
    connect(mConvertAction, &QAction::triggered, this, &BatchToolsController::convertSelection);
}

QStringList BatchToolsController::sourcesFor(const QString& tool, const QAction* action) const
{
    const QVariant given = action->data();
    const QStringList picked = given.isValid() ? given.toStringList() : mSelection ? mSelection() : QStringList();
    const QStringList sources = BatchTools::audioFiles(picked);
    if (sources.isEmpty())
        Utils::showAlert(tool, QStringLiteral("Pick one or more audio files in the list first."));
    return sources;
}

void BatchToolsController::normalizeSelection()
{
    if (mRunning)
        return;
    const QStringList sources = sourcesFor(QStringLiteral("Normalize"), mNormalizeAction);
    if (!sources.isEmpty())
        normalize(sources);
}

void BatchToolsController::convertSelection()
{
    if (mRunning || mConvertScreen)
        return;
    const QStringList sources = sourcesFor(QStringLiteral("Convert"), mConvertAction);
    if (sources.isEmpty())
        return;
    auto* screen = new ConvertViewController(mHost);
    mConvertScreen = screen;
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->setWindowTitle(QStringLiteral("Convert %1").arg(filesText(int(sources.size()))));
    screen->doneBlock = [self = QPointer(this), screen, sources](const std::optional<ConversionOptions>& options) {
        screen->close();
        if (self && options)
            self->convert(sources, *options);
    };
    screen->open();
}

void BatchToolsController::normalize(const QStringList& sources)
{
    run(QStringLiteral("Normalizing"), QStringLiteral("Normalized"), sources,
        [sources](const BatchTools::ProgressBlock& progress, const Utils::CancelFlag* cancel) {
            return BatchTools::normalize(sources, progress, cancel);
        });
}

void BatchToolsController::convert(const QStringList& sources, const ConversionOptions& options)
{
    run(QStringLiteral("Converting"), QStringLiteral("Converted"), sources,
        [sources, options](const BatchTools::ProgressBlock& progress, const Utils::CancelFlag* cancel) {
            return BatchTools::convert(sources, options, progress, cancel);
        });
}

void BatchToolsController::run(const QString& verb, const QString& pastTense, const QStringList& sources, Job job)
{
    if (mRunning || sources.isEmpty())
        return;
    mRunning = true;
    auto cancel = std::make_shared<Utils::CancelFlag>(false);
    const int count = int(sources.size());
    auto message = [verb, sources, count](int index) {
        return count == 1 ? QStringLiteral("%1 '%2'").arg(verb, QFileInfo(sources[0]).fileName())
                          : QStringLiteral("%1 %2 of %3\n%4").arg(verb).arg(index + 1).arg(count).arg(
                                QFileInfo(sources[index]).fileName());
    };
    mOverlay = ProgressHUD::showWithMessage(mHost, message(0), [cancel] { *cancel = true; });
    mOverlay->setProgress(0);
    const QPointer<ProgressHUD> hud = mOverlay;
    // Hands the worker's progress to the overlay in steps the eye can see.
    auto shown = std::make_shared<std::pair<float, int>>(-1.0f, 0);
    BatchTools::ProgressBlock progress = [hud, shown, message](float fraction, int index, int) {
        if (index == shown->second && fraction < 1.0f && fraction - shown->first < kProgressStep)
            return;
        const bool nextFile = index != shown->second;
        *shown = {fraction, index};
        platform::runOnMain([hud, fraction, nextFile, text = nextFile ? message(index) : QString()] {
            if (!hud)
                return;
            if (nextFile)
                hud->setMessage(text);
            hud->setProgress(fraction);
        });
    };
    platform::runInBackground(
        this, [job = std::move(job), progress = std::move(progress), cancel] { return job(progress, cancel.get()); },
        [this, hud, pastTense, count](const BatchTools::Outcome& outcome) {
            mRunning = false;
            if (hud) {
                if (outcome.cancelled)
                    hud->dismiss();
                else if (!outcome.failed.isEmpty())
                    hud->makeDismissMessage(QStringLiteral("Sorry\nCould not process %1 of %2")
                                                .arg(outcome.failed.size())
                                                .arg(filesText(count)));
                else
                    hud->makeAutoDismissMessage(QStringLiteral("%1 %2").arg(pastTense, filesText(count)));
            }
            emit finished(outcome);
        });
}

ProgressHUD* BatchToolsController::overlay() const { return mOverlay; }

ConvertViewController* BatchToolsController::convertScreen() const { return mConvertScreen; }
