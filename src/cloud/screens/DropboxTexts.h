#pragma once
#include <QString>

// Every text the Dropbox screens show, in one place.
namespace DropboxTexts {

inline QString linkTitle() { return QStringLiteral("Link Dropbox"); }
inline QString linkExplanation()
{
    return QStringLiteral("Allow Wavelocker to use your Dropbox in the browser window that opened.\n\n"
                          "If the browser runs on another computer, open this address there and paste the code "
                          "Dropbox shows you:");
}
inline QString codePlaceholder() { return QStringLiteral("Code from Dropbox"); }
inline QString linkButton() { return QStringLiteral("Link"); }
inline QString openBrowserButton() { return QStringLiteral("Open Browser Again"); }
inline QString cancel() { return QStringLiteral("Cancel"); }
inline QString notLinkedTitle() { return QStringLiteral("Dropbox"); }
inline QString notLinkedQuestion()
{
    return QStringLiteral("Wavelocker is not linked to a Dropbox account. Link one now?");
}
inline QString unlinkQuestion() { return QStringLiteral("Unlink this computer from your Dropbox account?"); }
inline QString unlinked() { return QStringLiteral("Dropbox is unlinked."); }

inline QString browserTitle() { return QStringLiteral("Dropbox"); }
inline QString importButton(int count)
{
    return count > 1 ? QStringLiteral("Import %1 Items").arg(count) : QStringLiteral("Import");
}
inline QString previewButton() { return QStringLiteral("Preview"); }
inline QString stopButton() { return QStringLiteral("Stop"); }
inline QString upButton() { return QStringLiteral("Up"); }
inline QString loading() { return QStringLiteral("Loading..."); }
inline QString emptyFolder() { return QStringLiteral("This folder is empty."); }
inline QString itemCount(int count) { return count == 1 ? QStringLiteral("1 item") : QStringLiteral("%1 items").arg(count); }

inline QString destinationTitle() { return QStringLiteral("Copy to Dropbox"); }
inline QString exportHere(int count)
{
    return count == 1 ? QStringLiteral("Export item here") : QStringLiteral("Export items here");
}
inline QString newFolderButton() { return QStringLiteral("New Folder"); }
inline QString newFolderName() { return QStringLiteral("New Folder"); }

}  // namespace DropboxTexts
