#include "browser/PaneTesting.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QScrollBar>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class FileTreeViewTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        for (const char* name : {"a.txt", "b.txt", "c.txt", "d.txt", "jam.txt"})
            dir.file(std::string("list/") + name);
        dir.file("top/sub/inner/x.txt");
        dir.file("top/file.txt");
    }
    // Offers one key to the list's own handler, as the view does on a key press.
    static bool press(FileTreeView& view, int key, const QString& text,
                      Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, text);
        return view.handleListKey(&event);
    }
    static bool pressLetter(FileTreeView& view, QChar letter)
    {
        const int key = Qt::Key_A + (letter.toLower().unicode() - 'a');
        return press(view, key, QString(letter),
                     letter.isUpper() ? Qt::ShiftModifier : Qt::NoModifier);
    }
    static int selectedRow(const FileTreeView& view)
    {
        const QModelIndexList rows = view.selectionModel()->selectedRows();
        return rows.size() == 1 ? rows.first().row() : -1;
    }
    // Presses each key in turn, checking the name selected after it.
    static void expectSteps(PaneView& pane,
                            std::initializer_list<std::pair<const char*, const char*>> steps)
    {
        for (const auto& [key, name] : steps) {
            ASSERT_TRUE(pressLetter(*pane.listView(), QChar(*key)));
            EXPECT_EQ(selectedNames(pane), QStringList{name}) << key;
        }
    }
};

TEST_F(FileTreeViewTest, ViKeysMoveTheSelection)
{
    Preferences::shared().setVimKeyBindings(true);
    struct Case {
        const char* keys;
        int row;
        bool pendingG;
    };
    const Case cases[] = {
        {"j", 0, false},     {"jjj", 2, false}, {"jjjgj", 3, false}, {"jjjgjg", 3, true},
        {"jjjgg", 0, false}, {"k", 4, false},   {"G", 4, false},     {"Gj", 4, false},
        {"jk", 0, false},    {"Gk", 3, false},  {"Ggg", 0, false},   {"Gggj", 1, false},
    };
    for (const Case& c : cases) {
        auto pane = openPane(dir / "list");
        FileTreeView& view = *pane->listView();
        for (const char* key = c.keys; *key; ++key)
            EXPECT_TRUE(pressLetter(view, QChar(*key))) << c.keys;
        EXPECT_EQ(selectedRow(view), c.row) << c.keys;
        EXPECT_EQ(view.isPendingG(), c.pendingG) << c.keys;
        EXPECT_EQ(pane->state().selectedCount(), 1) << c.keys;
    }
}

TEST_F(FileTreeViewTest, ViKeysCountVisibleRowsAcrossExpandedFoldersAndScrolling)
{
    Preferences::shared().setVimKeyBindings(true);
    auto nested = openPane(dir / "top");
    expandAndWait(*nested, dir / "top/sub");
    expectSteps(*nested, {{"G", "inner"},
                          {"k", "sub"},
                          {"k", "file.txt"},
                          {"j", "sub"},
                          {"j", "inner"},
                          {"j", "inner"}});

    for (int i = 0; i < 300; ++i)
        dir.file("long/" + std::to_string(1000 + i));
    auto longList = openPane(dir / "long");
    expectSteps(*longList,
                {{"G", "1299"}, {"k", "1298"}, {"g", "1298"}, {"g", "1000"}, {"j", "1001"}});
}

TEST_F(FileTreeViewTest, KeysLeftToTheListView)
{
    struct Case {
        const char* what;
        bool vi;
        int key;
        QString text;
        Qt::KeyboardModifiers modifiers;
    };
    const Case cases[] = {
        {"Ctrl+g", true, Qt::Key_G, "g", Qt::ControlModifier},
        {"Alt+j", true, Qt::Key_J, "j", Qt::AltModifier},
        {"Meta+G", true, Qt::Key_G, "G", Qt::MetaModifier | Qt::ShiftModifier},
        {"x", true, Qt::Key_X, "x", Qt::NoModifier},
        {"Escape without filter", true, Qt::Key_Escape, "\x1b", Qt::NoModifier},
        {"j with vi keys off", false, Qt::Key_J, "j", Qt::NoModifier},
        {"G with vi keys off", false, Qt::Key_G, "G", Qt::ShiftModifier},
    };
    for (const Case& c : cases) {
        Preferences::shared().setVimKeyBindings(c.vi);
        auto pane = openPane(dir / "list");
        EXPECT_FALSE(press(*pane->listView(), c.key, c.text, c.modifiers)) << c.what;
        EXPECT_EQ(selectedRow(*pane->listView()), -1) << c.what;
        EXPECT_FALSE(pane->listView()->isPendingG()) << c.what;
    }

    // Without vi keys, "j" is type-to-select.
    Preferences::shared().setVimKeyBindings(false);
    auto pane = openPane(dir / "list");
    QTest::keyClick(pane->listView(), Qt::Key_J);
    EXPECT_EQ(selectedNames(*pane), QStringList{"jam.txt"});
}

TEST_F(FileTreeViewTest, SlashAndEscapeOpenAndCloseTheFilter)
{
    for (const bool vi : {false, true}) {
        Preferences::shared().setVimKeyBindings(vi);
        auto pane = openPane(dir / "list");
        EXPECT_TRUE(press(*pane->listView(), Qt::Key_Slash, "/"));
        EXPECT_TRUE(pane->isFilterOpen());
        EXPECT_TRUE(press(*pane->listView(), Qt::Key_Escape, "\x1b"));
        EXPECT_FALSE(pane->isFilterOpen());
    }
}

TEST_F(FileTreeViewTest, HCollapsesThenSelectsTheParentThenGoesUp)
{
    Preferences::shared().setVimKeyBindings(true);
    auto pane = openPane(dir / "top");
    FileTreeView& view = *pane->listView();
    expandAndWait(*pane, dir / "top/sub");
    expandAndWait(*pane, dir / "top/sub/inner");
    select(*pane, dir / "top/sub/inner");
    const QPersistentModelIndex sub = indexOfPath(*pane->model(), dir / "top/sub");
    const QPersistentModelIndex inner = indexOfPath(*pane->model(), dir / "top/sub/inner");

    ASSERT_TRUE(pressLetter(view, 'h'));
    EXPECT_FALSE(view.isExpanded(inner));
    EXPECT_EQ(selectedNames(*pane), QStringList{"inner"});

    ASSERT_TRUE(pressLetter(view, 'h'));
    EXPECT_TRUE(view.isExpanded(sub));
    EXPECT_EQ(selectedNames(*pane), QStringList{"sub"});

    ASSERT_TRUE(pressLetter(view, 'h'));
    EXPECT_FALSE(view.isExpanded(sub));
    EXPECT_EQ(pane->location(), Location::folder(dir / "top"));

    // A top-level row that is not expanded: up one folder, selecting the one left.
    ASSERT_TRUE(pressLetter(view, 'h'));
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir.path()));
    EXPECT_EQ(selectedNames(*pane), QStringList{"top"});

    // "l", like Return, opens the selected folder.
    ASSERT_TRUE(pressLetter(view, 'l'));
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir / "top"));
    select(*pane, dir / "top/sub");
    QTest::keyClick(&view, Qt::Key_Return);
    ASSERT_TRUE(waitForListing(*pane));
    EXPECT_EQ(pane->location(), Location::folder(dir / "top/sub"));
}

TEST_F(FileTreeViewTest, ColumnsFitANarrowPaneAndStayResizable)
{
    auto pane = openPane(dir / "list");
    FileTreeView& view = *pane->listView();
    QHeaderView& header = *view.header();
    const auto fits = [&] {
        return header.length() <= view.viewport()->width() &&
               !view.horizontalScrollBar()->isVisible() && header.sectionSize(0) >= 120;
    };
    const auto resizeTo = [&](int width) {
        pane->resize(width, 600);
        EXPECT_TRUE(QTest::qWaitFor(fits, kTimeoutMs)) << width << ": " << header.length();
        EXPECT_GE(header.count(), 5);
    };
    // Drags the right edge of a column, as the mouse does on the header.
    const auto drag = [&](int column, int by) {
        QWidget* target = header.viewport();
        const int x = header.sectionViewportPosition(column) + header.sectionSize(column) - 1;
        const int y = header.height() / 2;
        const auto send = [&](QEvent::Type type, int at, Qt::MouseButton button) {
            QMouseEvent event(type, QPointF(at, y), target->mapToGlobal(QPointF(at, y)), button,
                              type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::LeftButton,
                              Qt::NoModifier);
            QApplication::sendEvent(target, &event);
        };
        send(QEvent::MouseButtonPress, x, Qt::LeftButton);
        send(QEvent::MouseMove, x + by, Qt::NoButton);
        send(QEvent::MouseButtonRelease, x + by, Qt::LeftButton);
    };

    resizeTo(600);
    const int name = header.sectionSize(0);
    const int date = header.sectionSize(1);
    drag(0, 40); // the name's border: the date gives the width
    EXPECT_EQ(header.sectionSize(0), name + 40);
    EXPECT_EQ(header.sectionSize(1), date - 40);
    EXPECT_TRUE(fits());
    drag(1, 30);
    EXPECT_EQ(header.sectionSize(1), date - 10);
    EXPECT_TRUE(fits());
    // The width the user gave is kept as the pane grows; the name takes the rest.
    resizeTo(1200);
    EXPECT_EQ(header.sectionSize(1), date - 10);
    EXPECT_EQ(header.length(), view.viewport()->width());
}

} // namespace
