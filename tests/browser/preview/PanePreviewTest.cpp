#include "browser/preview/PanePreview.h"

#include "browser/WindowTesting.h"
#include "browser/preview/PreviewWidget.h"
#include "browser/preview/QuickLookWindow.h"

#include <QApplication>
#include <QSplitter>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

bool waitForShown(PreviewWidget* preview, const std::optional<fs::path>& file)
{
    return QTest::qWaitFor([&] { return preview && preview->shownFile() == file; }, kTimeoutMs);
}

class PanePreviewTest : public PaneTest {
protected:
    void SetUp() override
    {
        PaneTest::SetUp();
        Preferences::shared().setMarkdownPreview(true);
        Preferences::shared().setPreviewZoom(1.0);
        Preferences::shared().setMarkdownPreviewFraction(0.5);
        dir.file("a.md", "# A\n");
        dir.file("b.txt", "b\n");
        dir.file("b c.txt", "bc\n");
        dir.folder("sub");
        dir.file("other/x.md", "x\n");
        dir.file("other/y.md", "y\n");
    }

    // A window with two panes side by side, shown and active.
    std::unique_ptr<BrowserWindow> splitWindow()
    {
        auto window = openWindow(dir.path());
        window->currentContainer()->split(Qt::Horizontal);
        for (PaneView* pane : window->currentContainer()->panes())
            EXPECT_TRUE(waitForListing(*pane));
        window->show();
        QApplication::setActiveWindow(window.get());
        EXPECT_TRUE(QTest::qWaitForWindowActive(window.get()));
        window->activePane()->focusList();
        return window;
    }

    ScratchSettings settings;
};

TEST_F(PanePreviewTest, TheMenuItemShowsAndHidesThePreviewInEveryPaneOfEveryWindow)
{
    Preferences::shared().setMarkdownPreview(false);
    auto first = splitWindow();
    auto second = openWindow(dir.path());
    std::vector<PaneView*> panes = first->currentContainer()->panes();
    panes.push_back(second->activePane());
    for (PaneView* pane : panes)
        EXPECT_EQ(pane->preview()->previewWidget(), nullptr); // hidden, nothing is made

    for (const bool on : {true, false, true}) {
        menuItem(*first, "toggleFilePreview:|プレビュー")->trigger();
        EXPECT_EQ(Preferences::shared().markdownPreview(), on);
        for (PaneView* pane : panes) {
            EXPECT_EQ(pane->preview()->isShown(), on);
            EXPECT_EQ(pane->preview()->previewWidget()->isVisibleTo(pane), on);
        }
    }
}

TEST_F(PanePreviewTest, ADraggedDividerIsStoredOnReleaseAndEveryPaneFollows)
{
    auto window = splitWindow();
    const std::vector<PaneView*> panes = window->currentContainer()->panes();
    QSplitter* dragged = panes[0]->preview()->splitter();
    const int width = dragged->sizes()[0] + dragged->sizes()[1];
    EXPECT_NEAR(double(dragged->sizes()[1]) / width, 0.5, 0.02);

    dragged->setSizes({width / 4, width - width / 4});
    EXPECT_DOUBLE_EQ(Preferences::shared().markdownPreviewFraction(), 0.5); // not while dragging
    QTest::mouseRelease(dragged->handle(1), Qt::LeftButton);
    EXPECT_NEAR(Preferences::shared().markdownPreviewFraction(), 0.75, 0.02);
    const QList<int> other = panes[1]->preview()->splitter()->sizes();
    EXPECT_NEAR(double(other[1]) / (other[0] + other[1]), 0.75, 0.02);
}

TEST_F(PanePreviewTest, ThePreviewFollowsTheSelectionAndShowsOneFileOnly)
{
    auto pane = openPane(dir.path());
    PreviewWidget* preview = pane->preview()->previewWidget();
    ASSERT_NE(preview, nullptr);
    const struct {
        const char* what;
        std::vector<fs::path> selected;
        std::optional<fs::path> shown;
    } rows[] = {
        {"one file", {dir / "a.md"}, dir / "a.md"},
        {"another file", {dir / "b.txt"}, dir / "b.txt"},
        {"a folder", {dir / "sub"}, std::nullopt},
        {"two files", {dir / "a.md", dir / "b.txt"}, std::nullopt},
        {"the file again", {dir / "a.md"}, dir / "a.md"},
        {"nothing", {}, std::nullopt},
    };
    for (const auto& row : rows) {
        pane->selectPaths(row.selected);
        EXPECT_TRUE(waitForShown(preview, row.shown)) << row.what;
    }
}

TEST_F(PanePreviewTest, ALinkSelectsItsFileInThisFolderOrInItsOwn)
{
    auto pane = openPane(dir.path());
    const struct {
        fs::path target;
        fs::path folder;
    } rows[] = {
        {dir / "other/x.md", dir / "other"}, // another folder: the pane goes there
        {dir / "other/y.md", dir / "other"}, // the shown folder: selected in place
        {dir / "a.md", dir.path()},
    };
    for (const auto& row : rows) {
        Q_EMIT pane->preview()->previewWidget()->fileLinkActivated(row.target);
        ASSERT_TRUE(waitForListing(*pane));
        EXPECT_EQ(pane->location().path(), row.folder);
        EXPECT_TRUE(QTest::qWaitFor(
            [&] { return pane->selectedPaths() == std::vector{row.target}; }, kTimeoutMs))
            << row.target;
    }
}

TEST_F(PanePreviewTest, ZoomStepsRetraceTheirValuesWithinTheLimits)
{
    const struct {
        double from;
        int direction;
        double to;
    } rows[] = {{1.0, 1, 1.1}, {1.1, -1, 1.0}, {1.0, -1, 0.9}, {2.7, 0, 1.0},
                {3.0, 1, 3.0}, {0.5, -1, 0.5}, {0.2, 1, 0.5},  {7.0, -1, 3.0}};
    for (const auto& row : rows)
        EXPECT_DOUBLE_EQ(PanePreview::steppedZoom(row.from, row.direction), row.to)
            << row.from << " " << row.direction;
}

TEST_F(PanePreviewTest, ZoomItemsChangeTheSettingOnlyWhileAPreviewIsShown)
{
    auto window = splitWindow();
    for (const auto& [item, zoom] :
         std::vector<std::pair<const char*, double>>{{"プレビューを拡大", 1.1},
                                                     {"プレビューを拡大（Ctrl+=）", 1.25},
                                                     {"プレビューを縮小", 1.1},
                                                     {"プレビューを実際のサイズに", 1.0}}) {
        menuItem(*window, item)->trigger();
        EXPECT_DOUBLE_EQ(Preferences::shared().previewZoom(), zoom) << item;
    }
    Preferences::shared().setMarkdownPreview(false);
    setMenusOpen(*window, true);
    EXPECT_FALSE(menuItem(*window, "プレビューを拡大")->isEnabled());
    window->toggleQuickLook(); // Quick Look counts as a preview
    setMenusOpen(*window, true);
    EXPECT_TRUE(menuItem(*window, "プレビューを拡大")->isEnabled());
}

TEST_F(PanePreviewTest, QuickLookFollowsTheListWithoutTakingItsKeys)
{
    auto window = splitWindow();
    FileTreeView* list = window->activePane()->listView();
    window->activePane()->selectPaths({dir / "a.md"});
    QTest::keyClick(list, Qt::Key_Y, Qt::ControlModifier);
    ASSERT_TRUE(window->isQuickLookOpen());
    QuickLookWindow* look = window->quickLook();
    EXPECT_TRUE(waitForShown(look->previewWidget(), dir / "a.md"));
    EXPECT_EQ(look->windowTitle(), QStringLiteral("a.md"));
    EXPECT_EQ(QApplication::focusWidget(), list);

    QTest::keyClick(list, Qt::Key_Down);
    EXPECT_TRUE(waitForShown(look->previewWidget(), window->activePane()->selectedPaths().at(0)));
    EXPECT_NE(look->previewWidget()->shownFile(), dir / "a.md");

    // Each closes what the one before opened.
    const std::pair<Qt::Key, Qt::KeyboardModifiers> keys[] = {{Qt::Key_Escape, Qt::NoModifier},
                                                              {Qt::Key_Space, Qt::NoModifier},
                                                              {Qt::Key_Space, Qt::NoModifier},
                                                              {Qt::Key_Y, Qt::ControlModifier},
                                                              {Qt::Key_Y, Qt::ControlModifier}};
    bool open = true;
    for (const auto& [key, modifiers] : keys) {
        QTest::keyClick(list, key, modifiers);
        open = !open;
        EXPECT_EQ(window->isQuickLookOpen(), open) << key;
    }
}

TEST_F(PanePreviewTest, SpaceDuringTypeAheadIsPartOfTheTypedText)
{
    QApplication::setKeyboardInputInterval(60000); // the typed text never times out here
    auto window = splitWindow();
    FileTreeView* list = window->activePane()->listView();
    QTest::keyClick(list, Qt::Key_B);
    QTest::keyClick(list, Qt::Key_Space);
    QTest::keyClick(list, Qt::Key_C);
    QApplication::setKeyboardInputInterval(400);
    EXPECT_FALSE(window->isQuickLookOpen());
    EXPECT_EQ(selectedNames(*window->activePane()), QStringList{"b c.txt"});
}

} // namespace
