#include "browser/BrowserWindow.h"

#include "PaneTesting.h"
#include "browser/PaneContainer.h"
#include "support/TempDir.h"

#include <QAction>
#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <QTabBar>
#include <QToolBar>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

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
    QAction* toolbarAction(const QString& text) const
    {
        for (QAction* action : window->findChild<QToolBar*>()->actions()) {
            if (action->text() == text)
                return action;
        }
        return nullptr;
    }
    QAction* menuAction(const QString& text) const
    {
        for (QAction* top : window->menuBar()->actions()) {
            for (QAction* action : top->menu()->findChildren<QAction*>()) {
                if (action->text() == text)
                    return action;
            }
        }
        return nullptr;
    }
    void go(const char* name)
    {
        window->activePane()->navigate(Location::folder(dir / name));
        EXPECT_TRUE(waitForListing(*window->activePane()));
    }

    TempDir dir;
    QPointer<BrowserWindow> window; // deletes itself when closed
};

TEST_F(BrowserWindowTest, TitleAndToolbarFollowTheActivePane)
{
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_EQ(tabTexts(), QStringList{"left"});
    EXPECT_FALSE(toolbarAction("戻る")->isEnabled());
    EXPECT_TRUE(toolbarAction("親フォルダ")->isEnabled());

    go("right");
    EXPECT_EQ(window->windowTitle(), "right");
    EXPECT_EQ(tabTexts(), QStringList{"right"});
    EXPECT_TRUE(toolbarAction("戻る")->isEnabled());

    toolbarAction("戻る")->trigger();
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_TRUE(toolbarAction("進む")->isEnabled());

    PaneContainer* container = window->currentContainer();
    container->split(Qt::Horizontal);
    go("third");
    EXPECT_EQ(window->windowTitle(), "third");
    container->switchPane();
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_EQ(tabTexts(), QStringList{"left"});
}

TEST_F(BrowserWindowTest, TabsOpenAndClose)
{
    window->newTab(Location::folder(dir / "right"));
    EXPECT_EQ(window->tabCount(), 2);
    EXPECT_EQ(window->windowTitle(), "right");
    EXPECT_EQ(tabTexts(), (QStringList{"left", "right"}));

    go("third");
    EXPECT_EQ(tabTexts(), (QStringList{"left", "third"}));

    window->closeCurrentTab();
    EXPECT_EQ(window->tabCount(), 1);
    EXPECT_EQ(window->windowTitle(), "left");
    EXPECT_EQ(window->activePane()->location(), Location::folder(dir / "left"));

    // Closing the last tab closes the window.
    window->show();
    window->closeCurrentTab();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.isNull());
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
    for (const Step& step : steps) {
        QAction* action = menuAction(QString::fromUtf8(step.command));
        ASSERT_NE(action, nullptr) << step.command;
        action->trigger();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        ASSERT_FALSE(window.isNull()) << step.command;
        EXPECT_EQ(window->tabCount(), step.tabs) << step.command;
        EXPECT_EQ(window->currentContainer()->panes().size(), step.panes) << step.command;
    }
}

} // namespace
