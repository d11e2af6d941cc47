// The pane's file commands end to end: the operation runs, the pane re-reads
// the folder, and what the operation made is selected (and renamed in place).
#include "browser/pane/PaneFileActions.h"

#include "browser/PaneTesting.h"
#include "browser/operations/BulkRenameDialog.h"
#include "operations/FileClipboard.h"

#include <QApplication>
#include <QDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QUndoStack>

namespace fs = std::filesystem;
using namespace testing_pane;

class PaneFileActionsTest : public PaneTest {
protected:
    TempDir dir;
};

TEST_F(PaneFileActionsTest, NewFolderStartsRenameAndReturnRenamesWithoutOpening)
{
    auto pane = openPane(dir.path());
    pane->fileActions().newFolder();
    QLineEdit* editor = nullptr;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return (editor = pane->listView()->viewport()->findChild<QLineEdit*>()); },
        kTimeoutMs));
    EXPECT_EQ(editor->text(), QStringLiteral("名称未設定フォルダ"));
    editor->setText(QStringLiteral("写真"));
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_TRUE(QTest::qWaitFor([&] { return fs::exists(dir / "写真"); }, kTimeoutMs));
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return selectedNames(*pane) == QStringList{"写真"}; }, kTimeoutMs));
    // The Return that committed the name must not also have opened the folder.
    EXPECT_EQ(pane->location().path(), dir.path());
}

TEST_F(PaneFileActionsTest, NewFileSelectsTheBaseNameOnly)
{
    auto pane = openPane(dir.path());
    pane->fileActions().newFile();
    QLineEdit* editor = nullptr;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            editor = pane->listView()->viewport()->findChild<QLineEdit*>();
            return editor && editor->selectedText() == QStringLiteral("名称未設定");
        },
        kTimeoutMs));
    EXPECT_EQ(editor->text(), QStringLiteral("名称未設定.txt"));
}

TEST_F(PaneFileActionsTest, TrashThenUndoPutsTheFileBackAndTheListFollows)
{
    dir.file("a.txt", "contents");
    dir.file("b.txt");
    auto pane = openPane(dir.path());
    pane->selectWhenListed({dir / "a.txt"});
    pane->fileActions().moveToTrash();
    ASSERT_TRUE(QTest::qWaitFor([&] { return rowNames(*pane->model()) == QStringList{"b.txt"}; },
                                kTimeoutMs));
    EXPECT_EQ(pane->state().selectedCount(), 0);
    FileOperationManager::shared().undoStack().undo();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return rowNames(*pane->model()) == (QStringList{"a.txt", "b.txt"});
        },
        kTimeoutMs));
    EXPECT_EQ(readFile(dir / "a.txt"), "contents");
}

TEST_F(PaneFileActionsTest, PasteOfACutMovesOnceAndSelectsTheResult)
{
    dir.file("from/x.txt", "x");
    dir.folder("to");
    auto pane = openPane(dir / "to");
    FileClipboard::write({dir / "from/x.txt"}, true);
    ASSERT_TRUE(pane->fileActions().canPaste());
    pane->fileActions().paste(false);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return selectedNames(*pane) == QStringList{"x.txt"}; }, kTimeoutMs));
    EXPECT_FALSE(fs::exists(dir / "from/x.txt"));
    // The cut is used up: a second paste has nothing to move.
    EXPECT_FALSE(pane->fileActions().canPaste());
}

TEST_F(PaneFileActionsTest, FilesWithoutAnApplicationShareOneAlertNamingThemAll)
{
    // Unknown bytes under an unknown extension: no application is registered for them.
    const std::vector<fs::path> files{dir.file("a.quillo-x", std::string("\0\1", 2)),
                                      dir.file("b.quillo-x", std::string("\0\2", 2))};
    auto pane = openPane(dir.path());
    pane->fileActions().openFiles(files);
    auto alerts = [] {
        QList<QDialog*> shown;
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (auto* dialog = qobject_cast<QDialog*>(window); dialog && dialog->isVisible())
                shown.append(dialog);
        }
        return shown;
    };
    ASSERT_TRUE(QTest::qWaitFor([&] { return !alerts().isEmpty(); }, kTimeoutMs));
    ASSERT_EQ(alerts().size(), 1);
    QString text;
    for (QLabel* label : alerts().front()->findChildren<QLabel*>())
        text += label->text();
    EXPECT_TRUE(text.contains(
        QStringLiteral("「a.quillo-x」、「b.quillo-x」を開けませんでした。\n"
                       "この種類のファイルを開くアプリケーションが登録されていません。")))
        << text.toStdString();
}

TEST_F(PaneFileActionsTest, BulkRenameSeesTheUnselectedNamesAndSelectsWhatItRenamed)
{
    dir.file("a.txt", "a");
    dir.file("b.txt", "b");
    dir.file(".c.txt"); // hidden from the list, yet its name is taken
    auto pane = openPane(dir.path());
    pane->selectWhenListed({dir / "a.txt", dir / "b.txt"});
    ASSERT_TRUE(QTest::qWaitFor([&] { return selectedNames(*pane).size() == 2; }, kTimeoutMs));
    pane->fileActions().bulkRename();
    BulkRenameDialog* sheet = nullptr;
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return (sheet = pane->findChild<BulkRenameDialog*>()) && sheet->isVisible(); },
        kTimeoutMs));
    QPushButton* apply = nullptr;
    for (QPushButton* button : sheet->findChildren<QPushButton*>())
        apply = button->text() == QStringLiteral("名前を変更") ? button : apply;
    ASSERT_TRUE(apply);
    // Find "a", replace with ".c": a.txt would become the hidden .c.txt.
    QTest::keyClicks(sheet->focusWidget(), "a");
    QTest::keyClick(sheet->focusWidget(), Qt::Key_Tab);
    QTest::keyClicks(sheet->focusWidget(), ".c");
    EXPECT_FALSE(apply->isEnabled());
    QTest::keyClick(sheet->focusWidget(), Qt::Key_Backspace);
    QTest::keyClick(sheet->focusWidget(), Qt::Key_Backspace);
    QTest::keyClicks(sheet->focusWidget(), "x");
    ASSERT_TRUE(apply->isEnabled());
    apply->click();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return selectedNames(*pane) == QStringList{"x.txt"}; }, kTimeoutMs));
    EXPECT_EQ(readFile(dir / "x.txt"), "a");
    EXPECT_EQ(FileOperationManager::shared().undoStack().undoText(), QStringLiteral("名前の変更"));
}

TEST_F(PaneFileActionsTest, LinkCompressAndExpandEachSelectWhatTheyMade)
{
    dir.file("a.txt", "a");
    auto pane = openPane(dir.path());
    auto selectAndWait = [&](const char* name) {
        pane->selectWhenListed({dir / name});
        return QTest::qWaitFor([&] { return selectedNames(*pane) == QStringList{name}; },
                               kTimeoutMs);
    };
    ASSERT_TRUE(selectAndWait("a.txt"));
    EXPECT_FALSE(pane->fileActions().canExpand());
    pane->fileActions().makeSymbolicLinks();
    ASSERT_TRUE(selectAndWait("a のリンク.txt"));
    EXPECT_EQ(fs::read_symlink(dir / "a のリンク.txt"), dir / "a.txt");
    ASSERT_TRUE(selectAndWait("a.txt"));
    pane->fileActions().compress();
    ASSERT_TRUE(selectAndWait("a.txt.zip"));
    ASSERT_TRUE(pane->fileActions().canExpand());
    pane->fileActions().expand();
    // Its one entry lands beside the archive under a free name.
    ASSERT_TRUE(selectAndWait("a 2.txt"));
    EXPECT_EQ(readFile(dir / "a 2.txt"), "a");
}
