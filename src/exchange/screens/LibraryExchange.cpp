#include "exchange/screens/LibraryExchange.h"

#include "exchange/AudioCopyPaste1.h"
#include "exchange/DesktopClipboardData.h"
#include "exchange/KormixHandOver.h"
#include "exchange/LibraryPasteboard.h"
#include "exchange/screens/ListDragDrop.h"
#include "exchange/screens/PasteboardHistoryViewController.h"
#include "library/DocumentImport.h"
#include "library/Utils.h"
#include "platform/Background.h"
#include "platform/Dispatch.h"
#include "platform/Pasteboard.h"
#include "ui/screens/ProgressHUD.h"

#include <QAbstractItemView>
#include <QClipboard>
#include <QDateTime>
#include <QDesktopServices>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>

namespace {
const QString kCopying = QStringLiteral("Copying...");
const QString kCopiedToPasteboard = QStringLiteral("Audio copied to pasteboard");
const QString kCouldNotCopy = QStringLiteral("Sorry\nCould not copy audio");

// A question with buttons; answer gets the clicked button's text.
void ask(QWidget* host, const QString& title, const QString& text, const QStringList& buttons,
         std::function<void(const QString&)> answer)
{
    auto* box = new QMessageBox(QMessageBox::NoIcon, title, text, QMessageBox::NoButton, host ? host->window() : nullptr);
    box->setAttribute(Qt::WA_DeleteOnClose);
    for (const QString& b : buttons) {
        const bool cancel = b == QLatin1String("Cancel") || b == QLatin1String("No");
        box->addButton(b, cancel ? QMessageBox::RejectRole : QMessageBox::AcceptRole);
    }
    QObject::connect(box, &QMessageBox::buttonClicked, box, [answer](QAbstractButton* b) { answer(b->text()); });
    box->open();
}

// One copy in the background under the overlay, which ends with done or the failure.
void copyUnderOverlay(QObject* context, QWidget* host, const QString& done, std::function<bool()> copy)
{
    QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(host, kCopying);
    platform::runInBackground(context, std::move(copy), [hud, done](bool copied) {
        if (!hud)
            return;
        if (copied)
            hud->makeAutoDismissMessage(done);
        else
            hud->makeDismissMessage(kCouldNotCopy);
    });
}

void offerDownload(QWidget* host, const QString& message)
{
    ask(host, KormixHandOver::kTitle, message, {QStringLiteral("No"), QStringLiteral("Yes")}, [](const QString& answer) {
        if (answer == QLatin1String("Yes"))
            QDesktopServices::openUrl(KormixHandOver::downloadPage());
    });
}
}  // namespace

LibraryExchange::LibraryExchange(QObject* parent) : QObject(parent)
{
    AudioCopyPaste1::initPasteBoard();
    QClipboard* clipboard = QGuiApplication::clipboard();
    connect(clipboard, &QClipboard::dataChanged, this, [this, clipboard] {
        if (!clipboard->ownsClipboard() && !DesktopClipboardData::isOurs(clipboard->mimeData()))
            mClipboardChangedAt = QDateTime::currentMSecsSinceEpoch();
    });
}

bool LibraryExchange::desktopClipboardIsNewer() const
{
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* data = clipboard->mimeData();
    // What we copied ourselves is on the general pasteboard already.
    if (clipboard->ownsClipboard() || DesktopClipboardData::isOurs(data))
        return false;
    if (DesktopClipboardData::filesFromMimeData(data).isEmpty() && DesktopClipboardData::wavBytesFromMimeData(data).isEmpty())
        return false;
    const auto general = platform::Pasteboard::general();
    return !AudioCopyPaste1::hasGeneralPasteboardData() || (general && mClipboardChangedAt > general->changeTime());
}

QStringList LibraryExchange::ownCopiedItems() const
{
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    if (!DesktopClipboardData::isOurs(data))
        return {};
    QStringList items = DesktopClipboardData::filesFromMimeData(data);
    items.removeIf([](const QString& item) { return !QFileInfo::exists(item); });
    return items;
}

bool LibraryExchange::canPaste() const
{
    return desktopClipboardIsNewer() || !ownCopiedItems().isEmpty() || AudioCopyPaste1::hasGeneralPasteboardData();
}

QString LibraryExchange::audioPaste(QWidget* host, const QString& folder, const QString& name)
{
    // Items copied in the library paste as a file manager's do: the same files under their own
    // names (the next free one when taken), several at once, folders too. A named paste asks
    // for the general pasteboard's sound.
    if (name.isEmpty()) {
        const QStringList items = ownCopiedItems();
        const MoveInto move = mover();
        if (!items.isEmpty() && DesktopClipboardData::isCut(QGuiApplication::clipboard()->mimeData()) && move) {
            // Pasted where they are, they stay, and stay cut for another folder.
            QStringList moving = items;
            moving.removeIf([&folder](const QString& item) { return QFileInfo(item).path() == folder; });
            if (moving.isEmpty())
                return {};
            // A cut moves once, as in a file manager: the clipboard forgets the items.
            QGuiApplication::clipboard()->clear();
            move(moving, folder);
            return folder + QLatin1Char('/') + QFileInfo(moving.last()).fileName();
        }
        if (!items.isEmpty()) {
            copyIn(host, items, folder);
            return DocumentImport::targetFor(items.last(), folder);
        }
    }
    if (!desktopClipboardIsNewer())
        return LibraryPasteboard::audioPaste(folder, name);
    const QMimeData* data = QGuiApplication::clipboard()->mimeData();
    const QStringList files = DesktopClipboardData::filesFromMimeData(data);
    if (!files.isEmpty()) {
        copyIn(host, files, folder);
        return DocumentImport::targetFor(files.last(), folder);
    }
    // A sound copied as WAV bytes by a sound editor.
    return LibraryPasteboard::pasteBytes(DesktopClipboardData::wavBytesFromMimeData(data), folder, name);
}

void LibraryExchange::copyIn(QWidget* host, const QStringList& items, const QString& folder)
{
    QStringList files;
    QStringList folders;
    for (const QString& item : items)
        (QFileInfo(item).isDir() ? folders : files) << item;
    if (folders.isEmpty() && files.size() <= 3) {
        DocumentImport::importFiles(files, folder);
        return;
    }
    QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(host, QStringLiteral("Copying %1 items...").arg(items.size()));
    hud->setProgress(0.0f);
    platform::runInBackground(
        this,
        [items, folder, hud] {
            bool all = true;
            for (int i = 0; i < items.size(); ++i) {
                platform::runOnMain([hud, fraction = float(i) / float(items.size())] {
                    if (hud)
                        hud->setProgress(fraction);
                });
                if (QFileInfo(items[i]).isDir())
                    all = !DocumentImport::importFolder(items[i], folder).isEmpty() && all;
                else
                    all = !DocumentImport::importFiles({items[i]}, folder).isEmpty() && all;
            }
            return all;
        },
        [hud](bool all) {
            if (!hud)
                return;
            if (all)
                hud->makeAutoDismissMessage(QStringLiteral("Copy done!"));
            else
                hud->makeDismissMessage(QStringLiteral("Sorry\nSome items could not be copied"));
        });
}

void LibraryExchange::copyItems(QWidget* host, const QStringList& paths)
{
    if (paths.isEmpty())
        return;
    QGuiApplication::clipboard()->setMimeData(DesktopClipboardData::mimeDataForFiles(paths).release());
    // The general pasteboard holds one file: other audio programs paste it as a sound.
    if (paths.size() == 1 && QFileInfo(paths.first()).isFile())
        copyToGeneralPasteboard(host, paths.first());
}

LibraryExchange::MoveInto LibraryExchange::mover()
{
    mMovers.removeIf([](const auto& mover) { return mover.first.isNull(); });
    return mMovers.isEmpty() ? MoveInto() : mMovers.last().second;
}

void LibraryExchange::cutItems(QWidget*, const QStringList& paths)
{
    if (!paths.isEmpty())
        QGuiApplication::clipboard()->setMimeData(DesktopClipboardData::mimeDataForFiles(paths, true).release());
}

void LibraryExchange::copyToGeneralPasteboard(QWidget* host, const QString& path)
{
    copyUnderOverlay(this, host, kCopiedToPasteboard,
                     [path] { return AudioCopyPaste1::copyAudioFileAtPathToGeneralPasteboard(path); });
}

void LibraryExchange::copyToHistory(QWidget* host, const QString& path)
{
    copyUnderOverlay(this, host, QStringLiteral("Audio copied"),
                     [path] { return LibraryPasteboard::copyToHistory(path, LibraryPasteboard::copyMeta(path)); });
}

void LibraryExchange::bulkAudioCopy(QWidget* host, const QStringList& paths)
{
    if (const auto refusal = LibraryPasteboard::bulkAudioCopyRefusal(paths)) {
        Utils::showAlert(refusal->title, refusal->message);
        return;
    }
    QPointer<ProgressHUD> hud = ProgressHUD::showWithMessage(host, QStringLiteral("Copying %1 items...").arg(paths.size()));
    hud->setProgress(0.0f);
    platform::runInBackground(
        this,
        [paths, hud] {
            return LibraryPasteboard::bulkAudioCopy(paths, [hud](float fraction) {
                platform::runOnMain([hud, fraction] {
                    if (hud)
                        hud->setProgress(fraction);
                });
            });
        },
        [hud](const QStringList& failed) {
            for (const QString& path : failed)
                Utils::showAlert(QStringLiteral("Sorry"),
                                 QStringLiteral("Could not copy file:\n%1").arg(QFileInfo(path).fileName()));
            if (hud)
                hud->makeAutoDismissMessage(kCopiedToPasteboard);
        });
}

void LibraryExchange::audioCopy(QWidget* host, const QString& path)
{
    const QString history = QStringLiteral("AudioCopy 3");
    const QString general = QStringLiteral("General Pasteboard");
    QPointer<QWidget> guard = host;
    ask(host, QStringLiteral("AudioCopy"), QStringLiteral("AudioCopy\nSelect pasteboard:"),
        {history, general, QStringLiteral("Cancel")}, [this, guard, path, history, general](const QString& answer) {
            if (!guard)
                return;
            if (answer == general) {
                QGuiApplication::clipboard()->setMimeData(DesktopClipboardData::mimeDataForFiles({path}).release());
                copyToGeneralPasteboard(guard, path);
            } else if (answer == history) {
                if (!LibraryPasteboard::isAudioCopyCompatible(path))
                    Utils::showAlert(QStringLiteral("Sorry"),
                                     QStringLiteral("Retronyms AudioCopy 3 supports only 16-bit 44.1KHz linear PCM files. "
                                                    "Use the 'Convert' tool to make a compatible copy of the file."));
                else
                    copyToHistory(guard, path);
            }
        });
}

void LibraryExchange::sendToKormix(QWidget* host, const QString& path)
{
    if (!KormixHandOver::isInstalled()) {
        offerDownload(host, KormixHandOver::notInstalledMessage());
        return;
    }
    if (!KormixHandOver::canAddPlayer() || !QDesktopServices::openUrl(KormixHandOver::addPlayerUrl(path)))
        offerDownload(host, KormixHandOver::outdatedMessage());
}

void LibraryExchange::showPasteboards(QWidget* host, const QString& folder)
{
    auto* screen = new PasteboardHistoryViewController(folder, mPreview, host ? host->window() : nullptr);
    screen->setAttribute(Qt::WA_DeleteOnClose);
    screen->open();
}

void LibraryExchange::attachToList(QAbstractItemView* list, std::function<QString()> folder,
                                   std::function<QStringList()> pickedPaths,
                                   std::function<void(const QStringList& items, const QString& folder)> moveInto)
{
    auto* dragDrop = new ListDragDrop(list, std::move(folder), std::move(pickedPaths));
    if (moveInto) {
        mMovers.append({list, moveInto});
        connect(dragDrop, &ListDragDrop::movedOnto, list, std::move(moveInto));
    }
    connect(dragDrop, &ListDragDrop::dropped, this, [this, list](const QStringList& items, const QString& folder) {
        copyIn(list, items, folder);
    });
    connect(dragDrop, &ListDragDrop::droppedWav, this, [](const QByteArray& wav, const QString& folder) {
        LibraryPasteboard::pasteBytes(wav, folder, QStringLiteral("Dropped audio"));
    });
    connect(dragDrop, &ListDragDrop::copyRequested, this, [this, list](const QStringList& paths) { copyItems(list, paths); });
    connect(dragDrop, &ListDragDrop::cutRequested, this, [this, list](const QStringList& paths) { cutItems(list, paths); });
    connect(dragDrop, &ListDragDrop::pasteRequested, this, [this, list](const QString& folder) { audioPaste(list, folder, {}); });
}
