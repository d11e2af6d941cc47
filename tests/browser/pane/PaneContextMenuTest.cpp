#include "browser/WindowTesting.h"
#include "browser/apps/OpenWithMenu.h"

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

class PaneContextMenuTest : public PaneTest {};

// The titles of the menu the list opens with these rows selected.
QStringList contextMenuFor(PaneView& pane, const std::vector<fs::path>& selected)
{
    pane.listView()->clearSelection();
    for (const fs::path& path : selected)
        pane.listView()->selectionModel()->select(indexOfPath(*pane.model(), path),
                                                  QItemSelectionModel::Select |
                                                      QItemSelectionModel::Rows);
    const QRect row = pane.listView()->visualRect(indexOfPath(*pane.model(), selected.front()));
    Q_EMIT pane.listView()->customContextMenuRequested(row.center());
    QMenu* menu = pane.listView()->findChild<QMenu*>();
    const QStringList titles = menu ? textsOf(menu->actions(), &QAction::text) : QStringList();
    delete menu;
    return titles;
}

TEST_F(PaneContextMenuTest, OpenWithFollowsOpenForFilesOnly)
{
    const fs::path text = dir.file("a.txt");
    const fs::path image = dir.file("b.png");
    const fs::path folder = dir.folder("sub");
    auto window = openWindow(dir.path());
    PaneView& pane = *window->activePane();
    const std::pair<std::vector<fs::path>, bool> cases[] = {
        {{text}, true},
        {{text, image}, true},
        {{folder}, false},
        {{text, folder}, false},
    };
    for (const auto& [selected, offered] : cases) {
        SCOPED_TRACE(selected.size());
        const QStringList titles = contextMenuFor(pane, selected);
        const qsizetype open = titles.indexOf("開く");
        ASSERT_GE(open, 0);
        EXPECT_EQ(titles.value(open + 1) == OpenWithMenu::title(), offered);
        EXPECT_EQ(titles.contains(OpenWithMenu::title()), offered);
    }
}

} // namespace
