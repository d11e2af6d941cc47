#include "browser/palette/PalettePanel.h"

#include "browser/PaneTesting.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "palette/FolderHistory.h"
#include "palette/PaletteModel.h"

#include <QLineEdit>
#include <QListView>
#include <QPointer>

using namespace testing_pane;

namespace {

class PalettePanelTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        FolderHistory::shared().clear();
        dir.folder("alpha/inner");
        dir.folder("beta");
        window = new BrowserWindow(PaneLayout::onePane(Location::folder(dir.path()).toText()));
        window->resize(1000, 700);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window));
        ASSERT_TRUE(waitForListing(*window->activePane()));
    }
    void TearDown() override
    {
        delete window.data();
        FolderHistory::shared().clear();
        PaneTest::TearDown();
    }

    PalettePanel* openPalette()
    {
        QTest::keyClick(window->activePane()->listView(), Qt::Key_K, Qt::ControlModifier);
        PalettePanel* panel = window->palette();
        if (!panel->isOpen()) {
            ADD_FAILURE() << "Ctrl+K did not open the palette";
            panel->open();
        }
        return panel;
    }
    void type(PalettePanel* panel, const QString& text)
    {
        QTest::keyClicks(panel->field(), text);
        EXPECT_EQ(panel->model()->query(), text);
    }

    QPointer<BrowserWindow> window;
};

} // namespace

TEST_F(PalettePanelTest, OpensWithThePlaceholderAndClosesWithEscape)
{
    PalettePanel* panel = openPalette();
    EXPECT_EQ(panel->field()->placeholderText(),
              "検索（> コマンド　/ ~ パス　@ ファイル　# サイドバー）");
    EXPECT_TRUE(panel->field()->hasFocus());
    QTest::keyClick(panel->field(), Qt::Key_Escape);
    EXPECT_FALSE(panel->isOpen());
    EXPECT_TRUE(window->activePane()->listView()->hasFocus());
}

TEST_F(PalettePanelTest, PaneVisitsAreRecordedAndOfferedAgain)
{
    go(*window->activePane(), dir / "alpha");
    go(*window->activePane(), dir / "beta");
    const auto& entries = FolderHistory::shared().entries();
    ASSERT_EQ(entries.size(), 2u);

    PalettePanel* panel = openPalette();
    type(panel, QStringLiteral("alpha"));
    ASSERT_FALSE(panel->model()->items().empty());
    EXPECT_EQ(panel->model()->items().front().location(), dir / "alpha");
    QTest::keyClick(panel->field(), Qt::Key_Return);
    EXPECT_FALSE(panel->isOpen());
    EXPECT_TRUE(waitForListing(*window->activePane()));
    EXPECT_EQ(window->activePane()->location(), Location::folder(dir / "alpha"));
}

TEST_F(PalettePanelTest, ModifiersOpenInTheOtherPaneOrANewTab)
{
    go(*window->activePane(), dir / "alpha");
    go(*window->activePane(), dir.path());

    PalettePanel* panel = openPalette();
    type(panel, QStringLiteral("alpha"));
    QTest::keyClick(panel->field(), Qt::Key_Return, Qt::ControlModifier);
    PaneContainer* container = window->currentContainer();
    ASSERT_EQ(container->panes().size(), 2u);
    EXPECT_EQ(window->activePane()->location(), Location::folder(dir / "alpha"));
    EXPECT_EQ(container->otherPane()->location(), Location::folder(dir.path()));

    panel = openPalette();
    type(panel, QStringLiteral("alpha"));
    QTest::keyClick(panel->field(), Qt::Key_Return, Qt::AltModifier);
    EXPECT_EQ(window->tabCount(), 2);
    EXPECT_EQ(window->activePane()->location(), Location::folder(dir / "alpha"));
}

TEST_F(PalettePanelTest, ACommandRunsAndTheTerminalKeyDoesNothingYet)
{
    const bool hidden = Preferences::shared().showHiddenFiles();
    PalettePanel* panel = openPalette();
    type(panel, QStringLiteral(">dotfiles"));
    ASSERT_FALSE(panel->model()->items().empty());
    QTest::keyClick(panel->field(), Qt::Key_Return, Qt::ControlModifier | Qt::ShiftModifier);
    EXPECT_TRUE(panel->isOpen());
    QTest::keyClick(panel->field(), Qt::Key_Return);
    EXPECT_FALSE(panel->isOpen());
    EXPECT_NE(Preferences::shared().showHiddenFiles(), hidden);
}

TEST_F(PalettePanelTest, TabCompletesATypedPath)
{
    PalettePanel* panel = openPalette();
    panel->field()->setText(QString::fromStdString((dir / "al").string()));
    QTest::keyClick(panel->field(), Qt::Key_Tab);
    const QString expected = QString::fromStdString((dir / "alpha/").string());
    EXPECT_TRUE(QTest::qWaitFor([&] { return panel->field()->text() == expected; }, kTimeoutMs))
        << panel->field()->text().toStdString();
    EXPECT_TRUE(panel->field()->hasFocus());
    // The completed folder's children are offered.
    EXPECT_TRUE(QTest::qWaitFor(
        [&] {
            const auto& items = panel->model()->items();
            return items.size() == 2 && items[1].title == "inner";
        },
        kTimeoutMs));
}
