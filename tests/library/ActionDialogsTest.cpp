#include "library/DocumentImport.h"
#include "library/screens/EditNameViewController.h"
#include "library/screens/FolderViewController.h"
#include "library/Utils.h"
#include "support/TempTree.h"

#include <QDialogButtonBox>
#include <QDir>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <gtest/gtest.h>

using namespace testsupport;

TEST(ActionDialogs, RenameEditorKeepsTheExtensionUnlessUnchecked)
{
    EditNameViewController editor;
    editor.setShowKeepExtension(true);
    editor.setName(QStringLiteral("Loop.wav"));
    QStringList results;
    editor.completionBlock = [&](const QString& name) { results << name; };
    EXPECT_EQ(editor.textField()->text(), QStringLiteral("Loop"));
    EXPECT_EQ(editor.keepExtensionButton()->text(), QStringLiteral("☒ Keep extension"));

    editor.keepExtensionButton()->click();
    EXPECT_EQ(editor.keepExtensionButton()->text(), QStringLiteral("☐ Keep extension"));
    EXPECT_EQ(editor.textField()->text(), QStringLiteral("Loop.wav"));
    editor.keepExtensionButton()->click();
    EXPECT_EQ(editor.textField()->text(), QStringLiteral("Loop"));

    editor.textField()->setText(QStringLiteral("a/b"));
    editor.confirmButton()->click();
    editor.confirmButton()->click();  // the completion runs once
    EXPECT_EQ(results, QStringList{QStringLiteral("a_b.wav")});
    EXPECT_EQ(editor.name(), QStringLiteral("a_b.wav"));

    EditNameViewController cancelled;
    cancelled.setName(QStringLiteral("New Folder"));
    EXPECT_EQ(cancelled.textField()->text(), QStringLiteral("New Folder"));
    EXPECT_FALSE(cancelled.keepExtensionButton()->isVisibleTo(&cancelled));
    QString got = QStringLiteral("unset");
    cancelled.completionBlock = [&](const QString& name) { got = name; };
    cancelled.findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Cancel)->click();
    EXPECT_TRUE(got.isNull());
}

TEST(ActionDialogs, FolderPickerListsFoldersAndCreatesOne)
{
    TempTree tree;
    AlertCapture alerts;
    const QString lib = tree.library();
    QDir().mkpath(lib + QStringLiteral("/Drums/Kicks"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/Take.wav"), "x"));
    ASSERT_TRUE(QFile::link(lib, lib + QStringLiteral("/Drums/Back to top")));  // must not loop

    FolderViewController picker;
    QStringList texts;
    for (QTreeWidgetItemIterator it(picker.tree()); *it; ++it)
        texts << (*it)->text(0);
    EXPECT_EQ(texts, (QStringList{"Library", "Drums", "Back to top", "Kicks"}));

    ASSERT_TRUE(picker.selectPath(lib + QStringLiteral("/Drums")));
    picker.newFolder();
    auto* editor = picker.findChild<EditNameViewController*>();
    ASSERT_TRUE(editor);
    EXPECT_EQ(editor->windowTitle(), QStringLiteral("Create Folder"));
    EXPECT_EQ(editor->textField()->text(), QStringLiteral("New Folder"));
    editor->confirmButton()->click();
    EXPECT_TRUE(QFileInfo(lib + QStringLiteral("/Drums/New Folder")).isDir());
    EXPECT_EQ(picker.selectedPath(), lib + QStringLiteral("/Drums/New Folder"));

    QString chosen;
    picker.completionBlock = [&](const QString& path) { chosen = path; };
    picker.confirmButton()->click();
    EXPECT_EQ(chosen, lib + QStringLiteral("/Drums/New Folder"));
}

TEST(ActionDialogs, PickedDocumentsArriveUnderFreeNames)
{
    TempTree tree;
    LogCapture log;
    const QString lib = tree.library();
    const QString outside = tree.path(QStringLiteral("home"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/a/Take.wav"), "first"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/b/Take.wav"), "second"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/README"), "r"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/README"), "mine"));

    const QStringList arrived = DocumentImport::importFiles(
        {outside + "/a/Take.wav", outside + "/b/Take.wav", outside + "/README", outside + "/missing.wav"}, lib);
    EXPECT_EQ(arrived, (QStringList{lib + "/Take.wav", lib + "/Take(1).wav", lib + "/README(1)"}));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Take(1).wav")), "second");
    EXPECT_EQ(readFile(lib + QStringLiteral("/README")), "mine");
    EXPECT_EQ(readFile(outside + QStringLiteral("/a/Take.wav")), "first");  // the original stays
    EXPECT_EQ(Utils::lastNewFile(), lib + QStringLiteral("/missing.wav"));
    EXPECT_TRUE(log.lines().last().startsWith(QStringLiteral("ERROR moving %1/missing.wav to %2/missing.wav: ").arg(outside, lib)));

    ASSERT_TRUE(writeFile(outside + QStringLiteral("/Set/Deep/x.wav"), "x"));
    EXPECT_EQ(DocumentImport::importFolder(outside + QStringLiteral("/Set"), lib), lib + QStringLiteral("/Set"));
    EXPECT_EQ(DocumentImport::importFolder(outside + QStringLiteral("/Set"), lib), lib + QStringLiteral("/Set(1)"));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Set(1)/Deep/x.wav")), "x");
}

TEST(DocumentImport, ACancelledImportLeavesTheFolderAsItWas)
{
    TempTree tree;
    LogCapture log;
    const QString lib = tree.library();
    const QString outside = tree.path(QStringLiteral("home"));
    ASSERT_TRUE(writeFile(lib + QStringLiteral("/mine.wav"), "mine"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/small.wav"), "small"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/big.wav"), QByteArray(5 << 20, 'b')));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/Set/one.wav"), "1"));
    ASSERT_TRUE(writeFile(outside + QStringLiteral("/Set/two.wav"), QByteArray(5 << 20, '2')));
    const auto everything = [&] {
        return QDir(lib).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    };
    const QStringList before = everything();
    EXPECT_EQ(DocumentImport::bytesToImport({outside + "/small.wav", outside + "/Set"}).value(), 5u + 1u + (5u << 20));

    // Cancelled in the middle of the second file: the first is taken back, the second never
    // shows, and the browser has nothing to open.
    std::atomic<bool> cancel{false};
    FileActions::CopyControl control;
    control.cancel = &cancel;
    control.progress = [&](quint64 copied) { cancel = copied > (1u << 20); };
    EXPECT_TRUE(DocumentImport::importFiles({outside + "/small.wav", outside + "/big.wav"}, lib, &control).isEmpty());
    EXPECT_EQ(everything(), before);
    EXPECT_TRUE(Utils::lastNewFile().isEmpty());
    EXPECT_TRUE(log.contains(QStringLiteral("Cancelled")));

    // A folder cancelled part way leaves no half folder.
    cancel = false;
    FileActions::CopyControl folderControl;
    folderControl.cancel = &cancel;
    folderControl.progress = [&](quint64 copied) { cancel = copied > (1u << 20); };
    EXPECT_TRUE(DocumentImport::importFolder(outside + QStringLiteral("/Set"), lib, &folderControl).isEmpty());
    EXPECT_EQ(everything(), before);

    // Not cancelled, the progress reaches every byte.
    cancel = false;
    FileActions::CopyControl full;
    full.cancel = &cancel;
    EXPECT_EQ(DocumentImport::importFolder(outside + QStringLiteral("/Set"), lib, &full), lib + QStringLiteral("/Set"));
    EXPECT_EQ(full.copied, 1u + (5u << 20));
    EXPECT_EQ(readFile(lib + QStringLiteral("/Set/two.wav")).size(), 5 << 20);
}
