#include "browser/WindowTesting.h"
#include "browser/menus/AppCommands.h"
#include "core/PathText.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QSet>
#include <fstream>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class FakeApp : public AppCommands {
public:
    void newWindow() override { ++newWindows; }
    void reopenClosedTab() override { ++reopened; }
    bool canReopenClosedTab() const override { return closedTabs; }
    void showSettings() override {}
    void showAbout() override {}
    void quit() override {}
    bool canOpenInTerminal() const override { return appsInstalled; }
    void openInTerminal(const fs::path& folder) override { opened.push_back({folder}); }
    bool canOpenInEditor() const override { return appsInstalled; }
    void openInEditor(const std::vector<fs::path>& paths) override { opened.push_back(paths); }
    QString terminalUnavailableReason() const override
    {
        return appsInstalled ? QString() : QStringLiteral("ターミナルがありません");
    }

    bool appsInstalled = false;
    std::vector<std::vector<fs::path>> opened;
    int newWindows = 0;
    int reopened = 0;
    bool closedTabs = false;
};

class MainMenuTest : public PaneTest {
protected:
    void TearDown() override
    {
        AppCommands::install(nullptr);
        ShortcutStore::shared().resetAll();
        PaneTest::TearDown();
    }

    static QMenu* menu(const BrowserWindow& window, const char* title)
    {
        for (QMenu* menu : window.menuBar()->findChildren<QMenu*>()) {
            if (menu->title() == QString::fromUtf8(title))
                return menu;
        }
        return nullptr;
    }
};

TEST_F(MainMenuTest, MenusComeInOrderWithTheirItemsAndShortcuts)
{
    auto window = openWindow(dir.path());
    EXPECT_EQ(textsOf(window->menuBar()->actions(), &QAction::text),
              (QStringList{"Quillo", "ファイル", "編集", "表示", "移動", "ウインドウ", "ヘルプ"}));
    EXPECT_TRUE(menu(*window, "ヘルプ")->actions().isEmpty());

    // Second keys, punctuation, Meta, and an item whose key the list keeps for itself.
    const std::pair<const char*, QList<QKeySequence>> shortcuts[] = {
        {"ゴミ箱に入れる", {keys("Ctrl+Backspace"), keys("Del")}},
        {"すぐに削除…", {keys("Ctrl+Alt+Backspace"), keys("Shift+Del")}},
        {"お気に入りに追加", {keys("Meta+Ctrl+T")}},
        {"隠しファイルを表示", {keys("Ctrl+Shift+.")}},
        {"プレビューを拡大（Ctrl+=）", {keys("Ctrl+=")}},
        {"下に分ける", {keys("Ctrl+Alt+Shift+\\")}},
        {"親フォルダ", {keys("Ctrl+Up"), keys("Alt+Up")}},
        {"次の画面へ切り替え（Tab）", {}},
    };
    for (const auto& [title, expected] : shortcuts) {
        QAction* action = menuItem(*window, title);
        ASSERT_NE(action, nullptr) << title;
        EXPECT_EQ(action->shortcuts(), expected) << title;
    }
}

TEST_F(MainMenuTest, NoKeyBelongsToTwoItems)
{
    auto window = openWindow(dir.path());
    QSet<QKeySequence> seen;
    for (const QAction* action : window->menuBar()->findChildren<QAction*>()) {
        for (const QKeySequence& sequence : action->shortcuts()) {
            EXPECT_FALSE(seen.contains(sequence)) << sequence.toString().toStdString();
            seen.insert(sequence);
        }
    }
    EXPECT_GT(seen.size(), 60);
}

TEST_F(MainMenuTest, CommandsThatAreNotThereYetAreDisabled)
{
    auto window = openWindow(dir.path());
    setMenusOpen(*window, true);
    // Without an application installed, its commands are off as well.
    for (const char* title : {"新規ウィンドウ", "閉じたタブを開く", "Quillo を終了",
                              "ターミナルで開く", "サーバへ接続…", "アップデートを確認…"})
        EXPECT_FALSE(menuItem(*window, title)->isEnabled()) << title;
    for (const char* title :
         {"新規タブ", "複製", "フルスクリーンにする", "パスをコピー", "ホーム", "情報を見る"})
        EXPECT_TRUE(menuItem(*window, title)->isEnabled()) << title;
}

TEST_F(MainMenuTest, ApplicationCommandsGoToTheApplication)
{
    FakeApp app;
    AppCommands::install(&app);
    auto window = openWindow(dir.path());
    QAction* reopen = menuItem(*window, "閉じたタブを開く");
    setMenusOpen(*window, true);
    EXPECT_TRUE(menuItem(*window, "新規ウィンドウ")->isEnabled());
    EXPECT_FALSE(reopen->isEnabled());
    setMenusOpen(*window, false);
    EXPECT_TRUE(reopen->isEnabled()); // so that its shortcut keeps working
    reopen->trigger();                // and the command checks again before it runs
    EXPECT_EQ(app.reopened, 0);
    app.closedTabs = true; // a tab closed while the menus were shut
    reopen->trigger();
    EXPECT_EQ(app.reopened, 1);
    setMenusOpen(*window, true);
    EXPECT_TRUE(reopen->isEnabled());
    app.closedTabs = false;
    setMenusOpen(*window, true);
    setMenusOpen(*window, false);
    app.closedTabs = true;

    // The shortcut reaches the item with the menus closed, and follows an override.
    window->show();
    QApplication::setActiveWindow(window.get());
    ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
    QTest::keyClick(window->activePane()->listView(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(app.newWindows, 1);
    QTest::keyClick(window->activePane()->listView(), Qt::Key_T,
                    Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_EQ(app.reopened, 2);
    ASSERT_EQ(ShortcutStore::shared().set(KeyCombo{"n", KeyCombo::kControl | KeyCombo::kCommand},
                                          "newWindow:|新規ウィンドウ"),
              "");
    QTest::keyClick(window->activePane()->listView(), Qt::Key_N, Qt::ControlModifier);
    EXPECT_EQ(app.newWindows, 1);
    QTest::keyClick(window->activePane()->listView(), Qt::Key_N,
                    Qt::ControlModifier | Qt::MetaModifier);
    EXPECT_EQ(app.newWindows, 2);
}

TEST_F(MainMenuTest, TerminalAndEditorTakeTheSelectionOrTheShownFolder)
{
    dir.folder("sub");
    dir.file("a.txt");
    FakeApp app;
    AppCommands::install(&app);
    auto window = openWindow(dir.path());
    PaneView* pane = window->activePane();
    QAction* terminal = menuItem(*window, "ターミナルで開く");
    QAction* editor = menuItem(*window, "エディタで開く");
    setMenusOpen(*window, true);
    EXPECT_FALSE(terminal->isEnabled()); // nothing installed
    EXPECT_EQ(terminal->toolTip(), "ターミナルがありません");
    app.appsInstalled = true;
    pane->listView()->clearSelection();
    setMenusOpen(*window, true);
    EXPECT_TRUE(terminal->isEnabled());
    EXPECT_NE(terminal->toolTip(), "ターミナルがありません");
    EXPECT_FALSE(editor->isEnabled()); // no files chosen
    setMenusOpen(*window, false);
    editor->trigger(); // checks its rule again: nothing happens
    terminal->trigger();
    select(*pane, dir / "sub");
    terminal->trigger();
    select(*pane, dir / "a.txt");
    terminal->trigger(); // a file: the shown folder
    editor->trigger();
    using Opened = std::vector<std::vector<fs::path>>;
    EXPECT_EQ(app.opened, (Opened{{dir.path()}, {dir / "sub"}, {dir.path()}, {dir / "a.txt"}}));
}

TEST_F(MainMenuTest, ChecksFollowTheDisplayPreferences)
{
    auto window = openWindow(dir.path());
    Preferences::shared().setShowHiddenFiles(true);
    Preferences::shared().setSort(FileSort{FileSortKey::size, false});
    setMenusOpen(*window, true);
    EXPECT_TRUE(menuItem(*window, "隠しファイルを表示")->isChecked());
    EXPECT_TRUE(menuItem(*window, "降順にする")->isChecked());
    QStringList checked = textsOf(menu(*window, "並び順")->actions(), [](const QAction* action) {
        return action->isChecked() ? action->text() : QString();
    });
    checked.removeAll(QString());
    EXPECT_EQ(checked, (QStringList{"サイズ", "降順にする"}));

    menuItem(*window, "種類")->trigger();
    menuItem(*window, "隠しファイルを表示")->trigger();
    EXPECT_EQ(Preferences::shared().sort(), (FileSort{FileSortKey::kind, false}));
    EXPECT_FALSE(Preferences::shared().showHiddenFiles());
    menuItem(*window, "降順にする")->trigger();
    EXPECT_TRUE(Preferences::shared().sort().ascending);
}

TEST_F(MainMenuTest, StandardFoldersAreOfferedWhenTheyExist)
{
    auto window = openWindow(dir.path());
    const fs::path home = PathText::homeFolder();
    fs::remove_all(home / "Desktop");
    fs::remove_all(home / "Applications");
    setMenusOpen(*window, true);
    EXPECT_FALSE(menuItem(*window, "デスクトップ")->isEnabled());
    EXPECT_FALSE(menuItem(*window, "アプリケーション")->isEnabled());

    const std::pair<const char*, const char*> folders[] = {{"デスクトップ", "Desktop"},
                                                           {"アプリケーション", "Applications"}};
    for (const auto& [title, name] : folders) {
        fs::create_directory(home / name);
        setMenusOpen(*window, true);
        ASSERT_TRUE(menuItem(*window, title)->isEnabled()) << title;
        menuItem(*window, title)->trigger();
        EXPECT_EQ(window->activePane()->location(), Location::folder(home / name)) << title;
        fs::remove_all(home / name);
    }
}

TEST_F(MainMenuTest, OpensTheSelectedFolderInTheLeftOrRightPane)
{
    for (const char* name : {"left", "right", "right/inner"})
        dir.folder(name);
    PaneLayout layout;
    layout.paths = {Location::folder(dir / "left").toText(),
                    Location::folder(dir / "right").toText()};
    layout.activeIndex = 1;
    auto window = openWindow(layout);
    PaneView* left = window->currentContainer()->panes()[0];
    QAction* openLeft = menuItem(*window, "左の画面で開く");
    window->activePane()->listView()->clearSelection();
    setMenusOpen(*window, true);
    EXPECT_FALSE(openLeft->isEnabled()); // nothing selected

    select(*window->activePane(), dir / "right" / "inner");
    setMenusOpen(*window, true);
    EXPECT_TRUE(openLeft->isEnabled());
    openLeft->trigger();
    EXPECT_EQ(left->location(), Location::folder(dir / "right" / "inner"));

    window->currentContainer()->toggleSplit(); // one pane: no sides any more
    setMenusOpen(*window, true);
    EXPECT_FALSE(menuItem(*window, "右の画面で開く")->isEnabled());
}

TEST_F(MainMenuTest, ItemCommandsFollowTheSelectionAndMakeTheContextMenu)
{
    dir.file("a.txt");
    dir.file("b.tar.gz");
    auto window = openWindow(dir.path());
    PaneView* pane = window->activePane();
    const QStringList itemCommands{"一括で名前を変更…", "シンボリックリンクを作成", "圧縮", "展開"};
    auto enabledOnes = [&] {
        setMenusOpen(*window, true);
        QStringList enabled;
        for (const QString& title : itemCommands)
            if (menuItem(*window, title)->isEnabled())
                enabled << title;
        return enabled;
    };
    auto contextMenu = [&](const QPoint& at) {
        Q_EMIT pane->listView()->customContextMenuRequested(at);
        QMenu* menu = pane->listView()->findChild<QMenu*>();
        const QStringList titles = menu ? textsOf(menu->actions(), &QAction::text) : QStringList();
        delete menu;
        return titles;
    };
    pane->listView()->clearSelection();
    EXPECT_EQ(enabledOnes(), QStringList());
    select(*pane, dir / "a.txt");
    EXPECT_EQ(enabledOnes(), itemCommands.mid(0, 3));
    select(*pane, dir / "b.tar.gz");
    EXPECT_EQ(enabledOnes(), itemCommands);

    const QRect row = pane->listView()->visualRect(pane->listView()->currentIndex());
    const QStringList onItem = contextMenu(row.center());
    for (const QString& title : itemCommands + QStringList{"開く", "ゴミ箱に入れる", ""})
        EXPECT_TRUE(onItem.contains(title)) << title.toStdString();
    EXPECT_FALSE(onItem.contains("新規フォルダ"));
    // An empty spot is about the folder: the selection goes, folder commands come.
    const QStringList onFolder = contextMenu(QPoint(row.center().x(), row.bottom() + 200));
    EXPECT_TRUE(onFolder.contains("新規フォルダ"));
    EXPECT_FALSE(onFolder.contains("圧縮"));
    EXPECT_TRUE(pane->selectedPaths().empty());
}

TEST_F(MainMenuTest, CopiesPathsAsText)
{
    const fs::path folder = PathText::homeFolder() / "copy paths";
    fs::create_directories(folder / "repo" / ".git");
    fs::create_directories(folder / "repo" / "sub");
    std::ofstream(folder / "repo" / "sub" / "it's here").put('x');
    std::ofstream(folder / "repo" / "sub" / "b").put('x');
    auto window = openWindow(folder / "repo" / "sub");
    const QString sub = PathText::display(folder / "repo" / "sub");
    auto copied = [&](const char* title) {
        setMenusOpen(*window, true);
        menuItem(*window, title)->trigger();
        return QGuiApplication::clipboard()->text();
    };

    // Nothing selected: the shown folder.
    window->activePane()->listView()->clearSelection();
    EXPECT_EQ(copied("パスをコピー"), sub);
    EXPECT_EQ(copied("パスをコピー（~ 形式）"), "~/copy paths/repo/sub");
    EXPECT_EQ(copied("リポジトリからの相対パスをコピー"), "sub");

    PaneView& pane = *window->activePane();
    select(pane, folder / "repo" / "sub" / "it's here");
    pane.listView()->selectionModel()->select(
        pane.model()->indexForNode(pane.model()->root()->findByPath(folder / "repo" / "sub" / "b")),
        QItemSelectionModel::Select | QItemSelectionModel::Rows);
    QStringList names = copied("シェル用にパスをコピー").split('\n');
    names.sort();
    EXPECT_EQ(names, (QStringList{"'" + sub + "/b'", "'" + sub + "/it'\\''s here'"}));
    names = copied("リポジトリからの相対パスをコピー").split('\n');
    names.sort();
    EXPECT_EQ(names, (QStringList{"sub/b", "sub/it's here"}));

    fs::remove_all(folder / "repo" / ".git");
    setMenusOpen(*window, true);
    EXPECT_FALSE(menuItem(*window, "リポジトリからの相対パスをコピー")->isEnabled());
    window.reset();
    fs::remove_all(folder);
}

TEST_F(MainMenuTest, WindowCommandsChangeTheWindowState)
{
    auto window = openWindow(dir.path());
    window->show();
    const std::pair<const char*, Qt::WindowState> commands[] = {
        {"フルスクリーンにする", Qt::WindowFullScreen},
        {"拡大／縮小", Qt::WindowMaximized},
    };
    for (const auto& [title, state] : commands) {
        menuItem(*window, title)->trigger();
        EXPECT_TRUE(window->windowState() & state) << title;
        menuItem(*window, title)->trigger();
        EXPECT_FALSE(window->windowState() & state) << title;
    }
    auto other = openWindow(dir.path());
    other->show();
    menuItem(*window, "Quillo を隠す")->trigger();
    EXPECT_TRUE(window->isMinimized());
    EXPECT_TRUE(other->isMinimized());
}

} // namespace
