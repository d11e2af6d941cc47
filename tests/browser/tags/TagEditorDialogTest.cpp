#include "browser/tags/TagEditorDialog.h"

#include "browser/WindowTesting.h"
#include "tags/TagStore.h"

#include <QLabel>
#include <QLineEdit>
#include <QTreeWidget>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class TagEditorDialogTest : public ::testing::Test {
protected:
    TempDir dir;
    TagStore store{dir / "tags.json"};
    std::vector<fs::path> files{dir.file("a.txt"), dir.file("b.txt"), dir.file("c.txt")};

    ~TagEditorDialogTest() override { store.waitForSaved(); }

    QUuid make(const QString& name) { return store.createTag(name)->id; }

    QStringList explicitNames(const fs::path& path) const
    {
        return textsOf(store.explicitTags(path), &Tag::name);
    }

    static bool shown(const QTreeWidgetItem* row) { return row && !row->isHidden(); }
};

TEST_F(TagEditorDialogTest, BoxesShowHowManyItemsCarryEachTagExplicitly)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");
    const QUuid misc = make("Misc");
    store.assign(work, {files[0], files[1]});
    store.assign(home, files);
    store.assign(client, files); // carries Work only implicitly on the third
    TagEditorDialog dialog(store, files);

    const std::pair<QUuid, Qt::CheckState> expected[] = {
        {work, Qt::PartiallyChecked},
        {client, Qt::Checked},
        {home, Qt::Checked},
        {misc, Qt::Unchecked},
        {TagStore::favoritesID, Qt::Unchecked},
    };
    for (const auto& [id, state] : expected) {
        SCOPED_TRACE(store.tag(id)->name.toStdString());
        ASSERT_TRUE(dialog.rowFor(id));
        EXPECT_EQ(dialog.rowFor(id)->checkState(0), state);
    }
    // Children stand under their parent, in the store's order.
    EXPECT_EQ(dialog.rowFor(client)->parent(), dialog.rowFor(work));

    // A change made elsewhere shows at once.
    store.assign(misc, {files[2]});
    EXPECT_EQ(dialog.rowFor(misc)->checkState(0), Qt::PartiallyChecked);
    store.unassign(home, {files[1]});
    EXPECT_EQ(dialog.rowFor(home)->checkState(0), Qt::PartiallyChecked);
}

TEST_F(TagEditorDialogTest, ToggleAssignsToAllThenTakesOffAllAndEscapeCloses)
{
    const QUuid work = make("Work");
    store.assign(work, {files[0], files[1]});
    TagEditorDialog dialog(store, files);
    dialog.show();

    dialog.list()->setCurrentItem(dialog.rowFor(work));
    QTest::keyClick(dialog.list(), Qt::Key_Space); // partial: assign to all
    for (const fs::path& file : files)
        EXPECT_EQ(explicitNames(file), QStringList{"Work"}) << file;
    EXPECT_EQ(dialog.rowFor(work)->checkState(0), Qt::Checked);

    QTest::keyClick(dialog.filterField(), Qt::Key_Return); // checked: take off all
    for (const fs::path& file : files)
        EXPECT_TRUE(explicitNames(file).isEmpty()) << file;
    EXPECT_EQ(dialog.rowFor(work)->checkState(0), Qt::Unchecked);
    EXPECT_TRUE(store.itemsByPath().isEmpty());

    QTest::keyClick(dialog.list(), Qt::Key_Return); // unchecked: assign to all
    EXPECT_EQ(store.itemsByPath().size(), 3);
    QTest::keyClick(dialog.filterField(), Qt::Key_Escape);
    EXPECT_FALSE(dialog.isVisible());
}

TEST_F(TagEditorDialogTest, ReturnCreatesTheTypedHierarchyAndAssignsTheLeaf)
{
    make("Work");
    TagEditorDialog dialog(store, files);
    dialog.show();
    QTest::keyClicks(dialog.filterField(), QStringLiteral("x/y"));
    ASSERT_TRUE(shown(dialog.createRow()));
    EXPECT_EQ(dialog.createRow()->text(0), QStringLiteral("「x/y」を作成"));
    EXPECT_EQ(dialog.list()->currentItem(), dialog.createRow());

    QTest::keyClick(dialog.filterField(), Qt::Key_Return);
    const std::optional<Tag> x = store.tagNamed("x");
    const std::optional<Tag> y = store.tagNamed("x/y");
    ASSERT_TRUE(x && y);
    for (const fs::path& file : files)
        EXPECT_EQ(explicitNames(file), QStringList{"x/y"}) << file;
    EXPECT_TRUE(dialog.filterField()->text().isEmpty());
    EXPECT_FALSE(shown(dialog.createRow()));
    EXPECT_EQ(dialog.list()->currentItem(), dialog.rowFor(y->id));
    EXPECT_EQ(dialog.rowFor(y->id)->checkState(0), Qt::Checked);
    EXPECT_EQ(dialog.rowFor(x->id)->checkState(0), Qt::Unchecked);
}

TEST_F(TagEditorDialogTest, AnExistingNameInAnyCaseIsToggledNotCreated)
{
    const QUuid work = make("Work");
    TagEditorDialog dialog(store, files);
    dialog.show();
    QTest::keyClicks(dialog.filterField(), QStringLiteral(" WORK "));
    EXPECT_FALSE(shown(dialog.createRow()));
    QTest::keyClick(dialog.filterField(), Qt::Key_Return);
    EXPECT_EQ(store.tags().size(), 2); // the favourites tag and Work
    EXPECT_EQ(dialog.rowFor(work)->checkState(0), Qt::Checked);
}

TEST_F(TagEditorDialogTest, FilterShowsMatchesWithTheirAncestors)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");
    const QUuid cafe = make(QStringLiteral("Café"));
    TagEditorDialog dialog(store, files);
    dialog.show();

    struct Case {
        QString text;
        QList<QUuid> visible;
    };
    const Case cases[] = {
        {"cli", {work, client}},
        {"cafe", {cafe}},                     // without the accent
        {QStringLiteral("ＨＯＭＥ"), {home}}, // full width
        {"work/c", {work, client}},           // by the whole name
        {"zzz", {}},
        {"", {work, client, home, cafe, TagStore::favoritesID}}, // everything again
    };
    const QList<QUuid> all = {work, client, home, cafe, TagStore::favoritesID};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text.toStdString());
        dialog.filterField()->setText(c.text);
        for (const QUuid& id : all)
            EXPECT_EQ(shown(dialog.rowFor(id)), c.visible.contains(id))
                << store.tag(id)->name.toStdString();
    }

    // Up and Down in the field move through the shown rows.
    dialog.filterField()->setText("o");
    dialog.filterField()->setFocus();
    const QTreeWidgetItem* first = dialog.list()->currentItem();
    ASSERT_TRUE(shown(first));
    QTest::keyClick(dialog.filterField(), Qt::Key_Down);
    EXPECT_NE(dialog.list()->currentItem(), first);
    EXPECT_TRUE(shown(dialog.list()->currentItem()));
    QTest::keyClick(dialog.filterField(), Qt::Key_Up);
    EXPECT_EQ(dialog.list()->currentItem(), first);
}

TEST_F(TagEditorDialogTest, ItemsWithNamesNotInUtf8AreLeftOutAndNamed)
{
    const fs::path bad = dir.file("bad\xff.txt");
    const QUuid work = make("Work");
    TagEditorDialog dialog(store, {files[0], bad});
    dialog.show();
    EXPECT_TRUE(dialog.note()->isVisible());
    EXPECT_EQ(
        dialog.note()->text(),
        QStringLiteral("「bad\uFFFD.txt」の名前は UTF-8 ではないため、タグを付けられません。"));
    EXPECT_EQ(dialog.items(), std::vector<fs::path>{files[0]});

    dialog.list()->setCurrentItem(dialog.rowFor(work));
    dialog.activateCurrent();
    EXPECT_EQ(dialog.rowFor(work)->checkState(0), Qt::Checked);
    EXPECT_EQ(store.itemsByPath().size(), 1);
    EXPECT_EQ(explicitNames(files[0]), QStringList{"Work"});

    TagEditorDialog clean(store, files);
    clean.show();
    EXPECT_FALSE(clean.note()->isVisible());
}

TEST_F(TagEditorDialogTest, TheMenuItemEditsTheActivePanesSelection)
{
    const auto window = openWindow(dir.path());
    PaneView* pane = window->activePane();
    // A focused list may start with its first row selected.
    pane->listView()->selectionModel()->clearSelection();
    QAction* item = menuItem(*window, "editTags:|タグを編集…");
    ASSERT_TRUE(item);
    EXPECT_EQ(item->shortcut(), keys("Ctrl+Alt+G"));
    setMenusOpen(*window, true);
    EXPECT_FALSE(item->isEnabled()); // nothing selected
    setMenusOpen(*window, false);
    item->trigger();
    EXPECT_FALSE(window->findChild<TagEditorDialog*>());

    select(*pane, files[1]);
    setMenusOpen(*window, true);
    EXPECT_TRUE(item->isEnabled());
    setMenusOpen(*window, false);
    item->trigger();
    auto* dialog = window->findChild<TagEditorDialog*>();
    ASSERT_TRUE(dialog);
    EXPECT_EQ(dialog->items(), std::vector<fs::path>{files[1]});
    EXPECT_EQ(dialog->windowModality(), Qt::WindowModal);
    EXPECT_EQ(dialog->windowTitle(), QStringLiteral("タグを編集"));
    dialog->close();
}

} // namespace
