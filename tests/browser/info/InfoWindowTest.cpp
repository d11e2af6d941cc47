#include "browser/info/InfoWindow.h"

#include "browser/info/InfoSummaryWindow.h"
#include "browser/info/InfoWindows.h"
#include "browser/info/PermissionGrid.h"
#include "operations/FileNaming.h"
#include "operations/FileOperationManager.h"
#include "support/TempDir.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QUndoStack>
#include <algorithm>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr int kTimeoutMs = 20000;

class RecordingPrompter : public Prompter {
public:
    QStringList messages;
    void present(const Alert& alert, std::function<void(Alert::Response)> done) override
    {
        messages << alert.message;
        QTimer::singleShot(0, [done] { done({0, false}); });
    }
};

mode_t modeOf(const fs::path& path)
{
    struct stat st {};
    EXPECT_EQ(::lstat(path.c_str(), &st), 0);
    return st.st_mode & 07777;
}

class InfoWindowTest : public ::testing::Test {
protected:
    TempDir dir;
    std::shared_ptr<RecordingPrompter> prompter = std::make_shared<RecordingPrompter>();

    std::unique_ptr<InfoWindow> open(const fs::path& item)
    {
        auto window = std::make_unique<InfoWindow>(item);
        window->setAttribute(Qt::WA_DeleteOnClose, false);
        window->setPrompter(prompter);
        window->show();
        return window;
    }
    QString text(const InfoWindow& window, const char* label)
    {
        return window.value(QString::fromUtf8(label))->text();
    }
};

} // namespace

TEST_F(InfoWindowTest, ShowsTheFactsOfAFileAFolderAndALink)
{
    const fs::path file = dir.file("report.txt", std::string(1'234'567, 'x'));
    dir.file("folder/a", "abc");
    dir.file("folder/sub/b", "defgh");
    const fs::path link = dir.link("link", "report.txt");
    const QString owner = QString::fromLocal8Bit(::getpwuid(::geteuid())->pw_name);

    auto fileWindow = open(file);
    EXPECT_EQ(fileWindow->nameField()->text(), "report.txt");
    EXPECT_EQ(text(*fileWindow, "MIME タイプ"), "text/plain");
    EXPECT_FALSE(text(*fileWindow, "種類").isEmpty());
    EXPECT_EQ(text(*fileWindow, "サイズ"), "1.2 MB（1,234,567 バイト）");
    EXPECT_TRUE(text(*fileWindow, "場所").contains(QString::fromStdString(dir.path().native())));
    EXPECT_EQ(text(*fileWindow, "所有者"), owner);
    EXPECT_FALSE(fileWindow->linkTargetField()->isVisibleTo(fileWindow.get()));
    EXPECT_TRUE(fileWindow->permissions()->isVisibleTo(fileWindow.get()));
    EXPECT_FALSE(fileWindow->applyInsideButton()->isVisibleTo(fileWindow.get()));

    auto folderWindow = open(dir / "folder");
    EXPECT_EQ(text(*folderWindow, "MIME タイプ"), "inode/directory");
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return text(*folderWindow, "サイズ").endsWith("（8 バイト）"); }, kTimeoutMs));
    EXPECT_TRUE(folderWindow->applyInsideButton()->isVisibleTo(folderWindow.get()));

    auto linkWindow = open(link);
    EXPECT_EQ(text(*linkWindow, "MIME タイプ"), "inode/symlink");
    EXPECT_EQ(linkWindow->linkTargetField()->text(), "report.txt");
    EXPECT_FALSE(linkWindow->permissions()->isVisibleTo(linkWindow.get()));
}

TEST_F(InfoWindowTest, ALinkIsPointedElsewhereWithUndo)
{
    dir.file("one");
    const fs::path link = dir.link("link", "one");
    auto window = open(link);
    QUndoStack& undo = FileOperationManager::shared().undoStack();
    const int commands = undo.count();
    window->linkTargetField()->setText("sub/two");
    window->commitLinkTarget();
    ASSERT_TRUE(QTest::qWaitFor([&] { return undo.count() == commands + 1; }, kTimeoutMs));
    EXPECT_EQ(fs::read_symlink(link), "sub/two");
    EXPECT_EQ(undo.undoText(), "リンク先の変更");
    undo.undo();
    ASSERT_TRUE(QTest::qWaitFor([&] { return fs::read_symlink(link) == "one"; }, kTimeoutMs));
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return window->linkTargetField()->text() == "one"; }, kTimeoutMs));
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(dir.path()))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"link", "one"}));
}

TEST_F(InfoWindowTest, RenamesThroughTheManagerWithUndoAndRefusesBadNames)
{
    const fs::path before = dir.file("a.txt");
    auto window = open(before);
    window->nameField()->setText("b.txt");
    window->commitName();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->item() == dir / "b.txt"; }, kTimeoutMs));
    EXPECT_TRUE(fs::exists(dir / "b.txt"));
    EXPECT_EQ(window->windowTitle(), "b.txtの情報");

    FileOperationManager::shared().undoStack().undo();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window->item() == before; }, kTimeoutMs));
    EXPECT_TRUE(fs::exists(before));
    EXPECT_EQ(window->nameField()->text(), "a.txt");

    // A window on an item inside follows its folder's rename.
    const fs::path inner = dir.file("box/in.txt");
    auto innerWindow = open(inner);
    FileOperationManager::shared().rename({dir / "box", std::nullopt}, "crate", prompter);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return innerWindow->item() == dir / "crate/in.txt"; }, kTimeoutMs));
    EXPECT_TRUE(innerWindow->facts().exists);

    const QString bad = QStringLiteral("a:b/c");
    const auto expected = FileNaming::validationError(bad);
    ASSERT_TRUE(expected);
    window->nameField()->setText(bad);
    window->commitName();
    ASSERT_TRUE(QTest::qWaitFor([&] { return !prompter->messages.isEmpty(); }, kTimeoutMs));
    EXPECT_EQ(prompter->messages.front(), *expected);
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return window->nameField()->text() == "a.txt"; }, kTimeoutMs));
    EXPECT_TRUE(fs::exists(before));
}

TEST_F(InfoWindowTest, PermissionBoxesChangeTheModeAndFollowTheDisk)
{
    const fs::path file = dir.file("f");
    ::chmod(file.c_str(), 0644);
    auto window = open(file);
    QCheckBox* groupWrite = window->permissions()->box(S_IWGRP);
    ASSERT_TRUE(groupWrite->isEnabled()); // ours (or root's)
    EXPECT_FALSE(groupWrite->isChecked());
    groupWrite->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return groupWrite->isChecked(); }, kTimeoutMs));
    EXPECT_EQ(modeOf(file), 0664u);
    window->permissions()->box(S_IRUSR)->click();
    ASSERT_TRUE(QTest::qWaitFor([&] { return modeOf(file) == 0264u; }, kTimeoutMs));

    // Another program's change shows without asking, and so does the item's removal.
    ::chmod(file.c_str(), 0600);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !window->permissions()->box(S_IRGRP)->isChecked(); },
                                kTimeoutMs));
    fs::remove(file);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !window->facts().exists; }, kTimeoutMs));
    EXPECT_FALSE(window->nameField()->isEnabled());
}

TEST_F(InfoWindowTest, OnlyTheOwnerMayChangeTheBits)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "an item of another user can only be made by root";
    const fs::path folder = dir.folder("theirs"); // root's
    const passwd* nobody = ::getpwnam("nobody");
    ASSERT_EQ(::chmod(dir.path().c_str(), 0755), 0);
    ASSERT_EQ(::seteuid(nobody ? nobody->pw_uid : 65534), 0);
    auto window = open(folder);
    EXPECT_FALSE(window->permissions()->box(S_IRUSR)->isEnabled());
    EXPECT_FALSE(window->applyInsideButton()->isEnabled());
    window.reset();
    ASSERT_EQ(::seteuid(0), 0);
}

TEST_F(InfoWindowTest, ApplyInsideGivesTheContentsTheFoldersBits)
{
    dir.file("d/f", "x");
    dir.file("d/sub/g", "x");
    ::chmod((dir / "d/f").c_str(), 0700);
    ::chmod((dir / "d/sub/g").c_str(), 0600);
    ::chmod((dir / "d/sub").c_str(), 0700);
    ::chmod((dir / "d").c_str(), 0755);
    auto window = open(dir / "d");
    window->applyInsideButton()->click();
    // Files keep their own execute bits.
    ASSERT_TRUE(QTest::qWaitFor([&] { return modeOf(dir / "d/sub/g") == 0644u; }, kTimeoutMs));
    EXPECT_EQ(modeOf(dir / "d/sub"), 0755u);
    EXPECT_EQ(modeOf(dir / "d/f"), 0744u);
}

TEST_F(InfoWindowTest, OneWindowPerItemUpToTenThenOneSummary)
{
    std::vector<fs::path> items;
    for (int i = 0; i < 11; ++i)
        items.push_back(dir.file("f" + std::to_string(i), std::string(size_t(i), 'x')));
    items.push_back(dir.folder("d"));
    dir.file("d/inside", "1234567");

    const auto two = InfoWindows::open({items[0], items[1]});
    ASSERT_EQ(two.size(), 2u);
    EXPECT_EQ(InfoWindows::open({items[1]}), std::vector<QWidget*>{two[1]});

    const auto summary = InfoWindows::open(items);
    ASSERT_EQ(summary.size(), 1u);
    auto* window = qobject_cast<InfoSummaryWindow*>(summary.front());
    ASSERT_TRUE(window);
    // 0 + 1 + ... + 10 bytes in the files, 7 in the folder.
    EXPECT_TRUE(QTest::qWaitFor([&] { return window->size()->text().endsWith("（62 バイト）"); },
                                kTimeoutMs))
        << window->size()->text().toStdString();
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return window->onDisk()->text().endsWith("バイト）"); }, kTimeoutMs));
    EXPECT_EQ(window->counts()->text().count(QStringLiteral("項目")), 2);
    for (QWidget* w : two)
        delete w;
    delete window;
}
