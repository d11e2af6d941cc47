#include "browser/palette/PalettePanel.h"

#include "browser/PaneTesting.h"
#include "browser/menus/AppCommands.h"
#include "browser/palette/PaletteListModel.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/PathText.h"
#include "palette/FolderHistory.h"
#include "palette/PaletteModel.h"

#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPointer>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

// No macOS modifier symbol and no private-use character (how macOS key equivalents
// store arrow and function keys).
bool readsOnLinux(const QString& text)
{
    return std::ranges::none_of(text, [](QChar c) {
        const char16_t u = c.unicode();
        return u == u'⌘' || u == u'⌃' || u == u'⌥' || u == u'⇧' || (u >= 0xE000 && u <= 0xF8FF);
    });
}

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

TEST_F(PalettePanelTest, TheTerminalKeyOpensFoldersOnly)
{
    struct Terminal : AppCommands {
        void newWindow() override {}
        void reopenClosedTab() override {}
        bool canReopenClosedTab() const override { return false; }
        void showSettings() override {}
        void showAbout() override {}
        void quit() override {}
        void openInTerminal(const fs::path& folder) override { opened.push_back(folder); }
        std::vector<fs::path> opened;
    } terminal;
    AppCommands::install(&terminal);
    const struct Uninstall {
        ~Uninstall() { AppCommands::install(nullptr); }
    } uninstall;
    go(*window->activePane(), dir / "alpha");
    go(*window->activePane(), dir.path());
    const auto ctrlShift = Qt::ControlModifier | Qt::ShiftModifier;

    // A command is not a folder: nothing happens, and Return still runs it.
    const bool hidden = Preferences::shared().showHiddenFiles();
    PalettePanel* panel = openPalette();
    type(panel, QStringLiteral(">dotfiles"));
    ASSERT_FALSE(panel->model()->items().empty());
    QTest::keyClick(panel->field(), Qt::Key_Return, ctrlShift);
    EXPECT_TRUE(panel->isOpen());
    QTest::keyClick(panel->field(), Qt::Key_Return);
    EXPECT_FALSE(panel->isOpen());
    EXPECT_NE(Preferences::shared().showHiddenFiles(), hidden);

    panel = openPalette();
    type(panel, QStringLiteral("alpha"));
    ASSERT_FALSE(panel->model()->items().empty());
    ASSERT_EQ(panel->model()->items().front().location(), dir / "alpha");
    QTest::keyClick(panel->field(), Qt::Key_Return, ctrlShift);
    EXPECT_FALSE(panel->isOpen());
    EXPECT_EQ(terminal.opened, std::vector<fs::path>{dir / "alpha"});
    EXPECT_EQ(window->activePane()->location(), Location::folder(dir.path()));
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

TEST_F(PalettePanelTest, ShowsTenRowsWithKeysInTheirLinuxNames)
{
    PalettePanel* panel = openPalette();
    type(panel, QStringLiteral(">"));
    QListView* list = panel->list();
    const QAbstractItemModel* rows = list->model();
    ASSERT_GE(rows->rowCount(), 10);
    const auto shownRows = [&] {
        int shown = 0;
        for (int row = 0; row < rows->rowCount(); ++row)
            shown += list->viewport()->rect().contains(list->visualRect(rows->index(row, 0)));
        return shown;
    };
    EXPECT_TRUE(QTest::qWaitFor([&] { return shownRows() >= 10; }, kTimeoutMs)) << shownRows();
    for (int row = 0; row < rows->rowCount(); ++row) {
        for (const int role : {int(Qt::DisplayRole), int(PaletteListModel::SubtitleRole),
                               int(PaletteListModel::DetailRole)}) {
            const QString text = rows->index(row, 0).data(role).toString();
            EXPECT_TRUE(readsOnLinux(text)) << text.toStdString();
        }
    }
    QStringList labels;
    for (const QLabel* label : panel->findChildren<QLabel*>()) {
        labels << label->text();
        EXPECT_TRUE(readsOnLinux(label->text())) << label->text().toStdString();
    }
    EXPECT_TRUE(labels.contains("↩ 開く・実行　Ctrl+↩ 反対側の画面　Alt+↩ 新しいタブ　"
                                "Ctrl+Shift+↩ ターミナル　⇥ 補完　esc 閉じる"));

    // The home folder by its sidebar name.
    panel->field()->clear();
    panel->field()->setText(QStringLiteral("ホーム"));
    EXPECT_TRUE(std::ranges::any_of(panel->model()->items(), [](const PaletteItem& item) {
        return item.location() == PathText::homeFolder();
    }));
}
