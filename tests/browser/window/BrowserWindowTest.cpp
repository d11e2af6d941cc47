#include "browser/window/BrowserWindow.h"

#include "browser/PaneTesting.h"
#include "browser/window/PaneContainer.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QTabBar>
#include <QToolBar>

using namespace testing_pane;

namespace {

QAction* named(const QList<QAction*>& actions, const char* text)
{
    for (QAction* action : actions) {
        if (action->text() == QString::fromUtf8(text))
            return action;
    }
    return nullptr;
}

class BrowserWindowTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"left", "right", "third"})
            dir.folder(name);
        window = new BrowserWindow(PaneLayout::onePane(Location::folder(dir / "left").toText()));
    }
    void TearDown() override { delete window.data(); }

    QStringList tabTexts() const
    {
        QStringList texts;
        auto* tabs = window->findChild<QTabBar*>();
        for (int i = 0; i < tabs->count(); ++i)
            texts << tabs->tabText(i);
        return texts;
    }
    QAction* toolbarAction(const char* text) const
    {
        return named(window->findChild<QToolBar*>()->actions(), text);
    }
    void go(const char* name) { testing_pane::go(*window->activePane(), dir / name); }

    TempDir dir;
    QPointer<BrowserWindow> window; // deletes itself when closed
};

TEST_F(BrowserWindowTest, TitleTabAndToolbarFollowTheActivePane)
{
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_FALSE(toolbarAction("戻る")->isEnabled());
    EXPECT_TRUE(toolbarAction("親フォルダ")->isEnabled());

    go("right");
    EXPECT_EQ(window->windowTitle(), "right");
    EXPECT_EQ(tabTexts(), QStringList{"right"});
    toolbarAction("戻る")->trigger();
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_TRUE(toolbarAction("進む")->isEnabled());

    window->currentContainer()->split(Qt::Horizontal);
    go("third");
    EXPECT_EQ(window->windowTitle(), "third");
    window->currentContainer()->switchPane();
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_EQ(tabTexts(), QStringList{"left"});

    window->newTab(Location::folder(dir / "right"));
    EXPECT_EQ(window->windowTitle(), "right");
    go("third");
    EXPECT_EQ(tabTexts(), (QStringList{"left", "third"}));
    window->closeCurrentTab();
    EXPECT_EQ(window->windowTitle(), "left");
}

TEST_F(BrowserWindowTest, MenuCommandsActOnTheCurrentTab)
{
    struct Step {
        const char* command;
        int tabs;
        size_t panes;
    };
    const Step steps[] = {
        {"新規タブ", 2, 1},  {"右に分ける", 2, 2},       {"下に分ける", 2, 3}, {"2画面表示", 2, 1},
        {"2画面表示", 2, 2}, {"この画面を閉じる", 2, 1}, {"閉じる", 1, 1},
    };
    QList<QAction*> menuActions;
    for (QAction* top : window->menuBar()->actions())
        menuActions += top->menu()->findChildren<QAction*>();
    for (const Step& step : steps) {
        QAction* action = named(menuActions, step.command);
        ASSERT_NE(action, nullptr) << step.command;
        action->trigger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        ASSERT_FALSE(window.isNull()) << step.command;
        EXPECT_EQ(window->tabCount(), step.tabs) << step.command;
        EXPECT_EQ(window->currentContainer()->panes().size(), step.panes) << step.command;
    }

    // Closing the last tab closes the window.
    window->show();
    window->closeCurrentTab();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.isNull());
}

} // namespace
