#include "browser/sidebar/SidebarView.h"

#include "browser/WindowTesting.h"
#include "browser/sidebar/SidebarMenus.h"
#include "browser/sidebar/SidebarModel.h"
#include "core/AppDefaults.h"
#include "operations/FileClipboard.h"
#include "support/FakeVolumes.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QHBoxLayout>
#include <QInputDialog>
#include <QLabel>
#include <QMessageBox>
#include <QPointer>
#include <QSettings>
#include <QToolTip>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class SidebarViewTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        settings = std::make_unique<QSettings>(
            QString::fromStdString((dir / "sidebar.conf").string()), QSettings::IniFormat);
        tags = std::make_unique<TagStore>(dir / "tags.json");
        auto source = std::make_unique<FakeVolumes>();
        volumes = source.get();
        store = std::make_unique<SidebarStore>(*settings, *tags, true, std::move(source));
        host = std::make_unique<QWidget>();
        auto* row = new QHBoxLayout(host.get());
        start = dir.folder("start");
        pane = new PaneView(Location::folder(start), host.get());
        sidebar = new SidebarView(
            *store, *tags, [this] { return pane.data(); }, host.get());
        row->addWidget(sidebar);
        row->addWidget(pane, 1);
        host->resize(1000, 600);
        host->show();
        ASSERT_TRUE(waitForListing(*pane));
    }

    SidebarModel& model() const { return *sidebar->sidebarModel(); }
    QModelIndex header(const QString& title) const { return rowTitled(model(), title); }
    QModelIndex child(const QString& title, int row) const
    {
        return model().index(row, 0, header(title));
    }
    // Enters and drops as a drag from another widget would; the application sends
    // the drop to the widget that accepted the entry.
    void dropFiles(const std::vector<fs::path>& paths, const QModelIndex& onto,
                   Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        const auto data = FileClipboard::makeMimeData(paths, false);
        const QPoint at = sidebar->visualRect(onto).center();
        const Qt::DropActions actions = Qt::CopyAction | Qt::MoveAction;
        QDragEnterEvent enter(at, actions, data.get(), Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(sidebar->viewport(), &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop(at, actions, data.get(), Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(sidebar->viewport(), &drop);
    }
    void click(const QModelIndex& index)
    {
        sidebar->scrollTo(index);
        QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {},
                          sidebar->visualRect(index).center());
    }
    // Triggers an item of the context menu of that row.
    void choose(const QModelIndex& row, const QString& item)
    {
        std::unique_ptr<QMenu> menu(SidebarMenus::make(*sidebar, row));
        actionTitled(menu.get(), item)->trigger();
    }

    ScratchSettings appSettings; // "sidebarCollapsedTags" and the like
    std::unique_ptr<QSettings> settings;
    std::unique_ptr<TagStore> tags;
    FakeVolumes* volumes = nullptr;
    std::unique_ptr<SidebarStore> store;
    std::unique_ptr<QWidget> host;
    QPointer<PaneView> pane;
    SidebarView* sidebar = nullptr;
    fs::path start;
};

TEST_F(SidebarViewTest, ClickOrReturnOnAFolderNavigatesThePane)
{
    const fs::path a = dir.folder("a");
    const fs::path b = dir.folder("b");
    store->addFavorite(a);
    store->addFavorite(b);

    click(child("お気に入り", 0));
    EXPECT_EQ(pane->location(), Location::folder(a));
    ASSERT_TRUE(waitForListing(*pane));

    sidebar->setFocus();
    sidebar->setCurrentIndex(child("お気に入り", 1));
    QTest::keyClick(sidebar, Qt::Key_Return);
    EXPECT_EQ(pane->location(), Location::folder(b));
    ASSERT_TRUE(waitForListing(*pane));
    // The row of the shown folder is the marked one.
    sidebar->showLocation(pane->location());
    EXPECT_EQ(sidebar->currentIndex(), child("お気に入り", 1));
}

TEST_F(SidebarViewTest, MissingFolderOnlySaysSo)
{
    store->addFavorite(dir / "gone");
    store->refreshMissing();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return child("お気に入り", 0).data(SidebarModel::MissingRole).toBool(); },
        kTimeoutMs));
    click(child("お気に入り", 0));
    EXPECT_EQ(pane->location(), Location::folder(start));
    EXPECT_EQ(QToolTip::text(), "このフォルダは見つかりません");
}

TEST_F(SidebarViewTest, TaggedFileOpensItsFolderWithTheFileSelected)
{
    const fs::path file = dir.file("start/report.txt", "x");
    const fs::path folder = dir.folder("project");
    const Tag tag = *tags->createTag("Work");
    tags->assign(tag.id, {file, folder});
    store->addTagSection(tag.id);
    ASSERT_EQ(rowNames(model(), header("Work")), (QStringList{"project", "report.txt"}));

    click(child("Work", 0));
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return pane->location() == Location::folder(folder); }, kTimeoutMs));
    ASSERT_TRUE(waitForListing(*pane));
    click(child("Work", 1));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] { return pane->location() == Location::folder(start) && !pane->state().isLoading(); },
        kTimeoutMs));
    ASSERT_TRUE(QTest::qWaitFor([&] { return selectedNames(*pane) == QStringList{"report.txt"}; },
                                kTimeoutMs));
}

TEST_F(SidebarViewTest, FoldingSurvivesChangesOfTheStore)
{
    store->addFavorite(dir.folder("a"));
    const QModelIndex favorites = header("お気に入り");
    ASSERT_TRUE(sidebar->isExpanded(favorites));
    click(favorites); // a header folds on a click
    EXPECT_FALSE(sidebar->isExpanded(header("お気に入り")));

    store->addFavorite(dir.folder("b"));
    const QUuid mine = model().sectionAt(header("マイセクション"))->uuid();
    store->placeURL(dir.folder("c"), SidebarSection::custom(mine));
    EXPECT_FALSE(sidebar->isExpanded(header("お気に入り")));
    EXPECT_TRUE(sidebar->isExpanded(header("マイセクション")));

    // A folded tag stays folded in the next window too.
    tags->createTag("Work/Client");
    const QModelIndex work = rowTitled(model(), "Work", header("タグ"));
    ASSERT_TRUE(sidebar->isExpanded(work));
    sidebar->collapse(work);
    SidebarView other(*store, *tags, {});
    EXPECT_FALSE(other.isExpanded(other.sidebarModel()->indexOfKey(model().keyOf(work))));
    EXPECT_TRUE(other.isExpanded(other.sidebarModel()->indexOfKey("favorites")));
}

TEST_F(SidebarViewTest, EscapeGivesTheFocusBackToThePane)
{
    host->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(host.get()));
    sidebar->setFocus();
    ASSERT_TRUE(sidebar->hasFocus());
    QTest::keyClick(sidebar, Qt::Key_Escape);
    EXPECT_TRUE(pane->listView()->hasFocus());
}

TEST_F(SidebarViewTest, FilesDroppedOntoAFolderAreCopiedOrMovedWithShift)
{
    const fs::path target = dir.folder("target");
    const fs::path copied = dir.file("start/copied.txt", "1");
    const fs::path moved = dir.file("start/moved.txt", "2");
    store->addFavorite(target);

    dropFiles({copied}, child("お気に入り", 0));
    ASSERT_TRUE(QTest::qWaitFor([&] { return fs::exists(target / "copied.txt"); }, kTimeoutMs));
    EXPECT_TRUE(fs::exists(copied));

    dropFiles({moved}, child("お気に入り", 0), Qt::ShiftModifier);
    ASSERT_TRUE(QTest::qWaitFor([&] { return !fs::exists(moved); }, kTimeoutMs));
    EXPECT_EQ(readFile(target / "moved.txt"), "2");
    EXPECT_EQ(rowNames(model(), header("お気に入り")), QStringList{"target"});
}

TEST_F(SidebarViewTest, EjectButtonEjectsAndAFailureIsTold)
{
    volumes->set({MountedVolume{"/media/stick", "STICK", "drive-removable-media", true, true, {}}});
    const QModelIndex places = header("場所");
    const QModelIndex stick = model().index(model().rowCount(places) - 1, 0, places);
    ASSERT_EQ(stick.data().toString(), "STICK");
    sidebar->scrollTo(stick);
    const QPoint button = sidebar->ejectRect(stick).center();
    ASSERT_TRUE(sidebar->visualRect(stick).contains(button));

    volumes->failure = QStringLiteral("使用中です");
    QTest::mouseClick(sidebar->viewport(), Qt::LeftButton, {}, button);
    EXPECT_EQ(volumes->ejected, QList<fs::path>{"/media/stick"});
    EXPECT_EQ(pane->location(), Location::folder(start)); // the button does not open the volume
    auto* alert = waitForVisible<QDialog>(*host);
    ASSERT_TRUE(alert);
    EXPECT_FALSE(textsOf(alert->findChildren<QLabel*>(), &QLabel::text).filter("STICK").isEmpty());
    alert->accept();
}

TEST_F(SidebarViewTest, ItemMenuOpensInANewTabAndRemoves)
{
    const fs::path a = dir.folder("a");
    store->addFavorite(a);
    std::vector<Location> opened;
    QObject::connect(sidebar, &SidebarView::openInNewTabRequested,
                     [&](const Location& location) { opened.push_back(location); });
    choose(child("お気に入り", 0), "新しいタブで開く");
    EXPECT_EQ(opened, std::vector<Location>{Location::folder(a)});
    choose(child("お気に入り", 0), "サイドバーから取り除く");
    EXPECT_FALSE(store->containsFavorite(a));

    // A tag of the tag tree gets a section of its own.
    const Tag tag = *tags->createTag("Ideas");
    const QModelIndex tagRow = model().indexOfLocation(Location::tag(tag.id));
    ASSERT_TRUE(model().tagAt(tagRow));
    choose(tagRow, "タグのセクションを追加");
    EXPECT_TRUE(header("Ideas").isValid());
}

TEST_F(SidebarViewTest, AddToFavoritesTakesSelectedFoldersElseTheShownFolder)
{
    const fs::path inner = dir.folder("start/inner");
    dir.file("start/file.txt", "x");
    pane->reload();
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return indexOfPath(*pane->model(), inner).isValid(); }, kTimeoutMs));
    pane->listView()->selectAll();
    SidebarView::addToFavorites(*pane, *store);
    SidebarView::addToFavorites(*pane, *store);
    EXPECT_EQ(rowNames(model(), header("お気に入り")), QStringList{"inner"});

    pane->listView()->clearSelection();
    SidebarView::addToFavorites(*pane, *store);
    EXPECT_EQ(rowNames(model(), header("お気に入り")), (QStringList{"inner", "start"}));
}

TEST_F(SidebarViewTest, HeaderMenuHidesAndShowsSections)
{
    std::unique_ptr<QMenu> menu(SidebarMenus::make(*sidebar, header("場所")));
    actionTitled(menu.get(), "セクションを隠す")->trigger();
    EXPECT_FALSE(header("場所").isValid());

    menu.reset(SidebarMenus::make(*sidebar, header("マイセクション")));
    QMenu* shown = actionTitled(menu.get(), "表示するセクション")->menu();
    QAction* places = actionTitled(shown, "場所");
    ASSERT_TRUE(places);
    EXPECT_FALSE(places->isChecked());
    EXPECT_TRUE(actionTitled(shown, "タグ")->isChecked());
    places->trigger();
    EXPECT_TRUE(header("場所").isValid());
}

TEST_F(SidebarViewTest, NamePromptsRenameAndRefuseAnEmptyName)
{
    store->addFavorite(dir.folder("a"));
    choose(child("お気に入り", 0), "名前を変更…");
    auto* prompt = waitForVisible<QInputDialog>(*host);
    ASSERT_TRUE(prompt);
    EXPECT_EQ(prompt->windowTitle(), "項目の名前を変更");
    prompt->setTextValue(" Work ");
    prompt->accept();
    EXPECT_EQ(child("お気に入り", 0).data().toString(), "Work");

    const int sections = int(store->sections().size());
    choose(header("マイセクション"), "新規セクション…");
    prompt = waitForVisible<QInputDialog>(*host);
    ASSERT_TRUE(prompt);
    prompt->setTextValue("   ");
    prompt->accept();
    auto* message = waitForVisible<QMessageBox>(*host);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->text(), "名前を入力してください。");
    message->accept();
    EXPECT_EQ(store->sections().size(), sections);
}

TEST_F(SidebarViewTest, ToggleSidebarActsOnEveryWindowAndIsRemembered)
{
    auto* first = new BrowserWindow(PaneLayout::onePane(Location::folder(start).toText()));
    auto* second = new BrowserWindow(PaneLayout::onePane(Location::folder(start).toText()));
    QPointer<BrowserWindow> guard1 = first, guard2 = second;
    first->show();
    second->show();
    ASSERT_TRUE(first->isSidebarVisible());

    first->toggleSidebar();
    EXPECT_FALSE(first->isSidebarVisible());
    EXPECT_FALSE(second->isSidebarVisible());
    EXPECT_FALSE(AppDefaults::store().value("sidebarVisible", true).toBool());
    auto third =
        std::make_unique<BrowserWindow>(PaneLayout::onePane(Location::folder(start).toText()));
    EXPECT_FALSE(third->isSidebarVisible());

    second->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(second));
    second->toggleSidebar();
    EXPECT_TRUE(second->sidebar()->hasFocus());
    EXPECT_TRUE(first->isSidebarVisible());
    EXPECT_TRUE(third->isSidebarVisible());
    delete guard1.data();
    delete guard2.data();
}

} // namespace
