#include "browser/menus/CommandCatalog.h"

#include "browser/PaneTesting.h"
#include "browser/menus/ActionRouter.h"
#include "browser/menus/AppCommands.h"
#include "browser/window/BrowserWindow.h"

#include <QMenu>
#include <QMenuBar>
#include <QPointer>

using namespace testing_pane;

namespace {

const PaletteCommand* find(const std::vector<PaletteCommand>& commands, const char* action)
{
    for (const PaletteCommand& command : commands) {
        if (command.action == QLatin1String(action))
            return &command;
    }
    return nullptr;
}

class CommandCatalogTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        dir.file("a.txt");
        window = new BrowserWindow(PaneLayout::onePane(Location::folder(dir.path()).toText()));
        window->show();
        ASSERT_TRUE(waitForListing(*window->activePane()));
    }
    void TearDown() override
    {
        delete window.data();
        PaneTest::TearDown();
    }

    QPointer<BrowserWindow> window;
};

} // namespace

TEST_F(CommandCatalogTest, ListsRunnableMenuItemsWithPathsAndAliases)
{
    const auto commands = CommandCatalog::collect(window);
    const PaletteCommand* newFolder = find(commands, "newFolder:");
    ASSERT_TRUE(newFolder);
    EXPECT_EQ(newFolder->title, "新規フォルダ");
    EXPECT_EQ(newFolder->menuPath, "ファイル");
    EXPECT_EQ(newFolder->searchAliases, (QStringList{"shinkiforuda", "New Folder"}));
    // Shortcuts read as the menus show them, never in macOS symbols.
    const std::pair<const char*, const char*> shortcuts[] = {
        {"newFolder:", "Ctrl+Shift+N"},   {"moveToTrash:", "Ctrl+Backspace"},
        {"goToParent:", "Ctrl+Up"},       {"copyToOtherPane:", "F5"},
        {"addToSidebar:", "Meta+Ctrl+T"},
    };
    for (const auto& [action, text] : shortcuts) {
        const PaletteCommand* command = find(commands, action);
        ASSERT_TRUE(command) << action;
        EXPECT_EQ(command->shortcut, text) << action;
    }

    const PaletteCommand* sortByName = find(commands, "sortBy:");
    ASSERT_TRUE(sortByName);
    EXPECT_EQ(sortByName->menuPath, "表示 › 並び順");

    // The palette itself, and items whose feature does not exist yet, are absent.
    EXPECT_FALSE(find(commands, "togglePalette:"));
    EXPECT_FALSE(find(commands, "openInTerminal:"));
    EXPECT_FALSE(find(commands, "arrangeInFront:"));
}

TEST_F(CommandCatalogTest, EveryCommandCanBeFoundInEnglish)
{
    struct App : AppCommands {
        void newWindow() override {}
        void reopenClosedTab() override {}
        bool canReopenClosedTab() const override { return true; }
        void showSettings() override {}
        void showAbout() override {}
        void quit() override {}
    } app;
    AppCommands::install(&app);
    // The application's items are made with the window's menus.
    auto* withApp = new BrowserWindow(PaneLayout::onePane(Location::folder(dir.path()).toText()));
    const auto commands = CommandCatalog::collect(withApp);
    AppCommands::install(nullptr);
    EXPECT_TRUE(find(commands, "checkForUpdates:"));
    for (const PaletteCommand& command : commands)
        EXPECT_GE(command.searchAliases.size(), 2) << command.action.toStdString();
    delete withApp;
}

TEST_F(CommandCatalogTest, ARefusedItemAppearsOnceItsTargetAcceptsIt)
{
    window->activePane()->listView()->clearSelection();
    EXPECT_FALSE(find(CommandCatalog::collect(window), "editTags:"));
    select(*window->activePane(), dir / "a.txt");
    const auto commands = CommandCatalog::collect(window);
    const PaletteCommand* editTags = find(commands, "editTags:");
    ASSERT_TRUE(editTags);
    EXPECT_EQ(editTags->title, "タグを編集"); // the ellipsis goes
}

TEST_F(CommandCatalogTest, TheRouterRunsTheWindowsOwnItem)
{
    window->activePane()->listView()->clearSelection();
    EXPECT_FALSE(ActionRouter::isEnabled("editTags:", window)); // nothing selected
    const bool hidden = Preferences::shared().showHiddenFiles();
    QAction* item = ActionRouter::target("toggleHiddenFiles:", window);
    ASSERT_TRUE(item);
    EXPECT_TRUE(ActionRouter::send(item));
    EXPECT_NE(Preferences::shared().showHiddenFiles(), hidden);

    EXPECT_FALSE(ActionRouter::target("connectToServer:", window)); // no handler yet
    EXPECT_FALSE(ActionRouter::send("connectToServer:", window));
}
