#include "browser/pane/PaneContextMenu.h"

#include "browser/apps/OpenWithMenu.h"
#include "browser/menus/ActionRouter.h"
#include "browser/operations/DialogPrompter.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/FileTreeView.h"
#include "browser/pane/PaneView.h"
#include "files/FileNode.h"

#include <QMenu>
#include <QPointer>

namespace {

// Groups of menu commands, in menu order; an empty name is a separator.
constexpr const char* kItemCommands[] = {
    "openSelection:",
    "toggleQuickLook:",
    "",
    "renameSelection:",
    "bulkRename:",
    "duplicate:",
    "makeSymbolicLink:",
    "compress:",
    "expandArchive:",
    "",
    "cut:",
    "copy:",
    "paste:",
    "",
    "copyPath:",
    "editTags:",
    "",
    "moveToTrash:",
};
constexpr const char* kFolderCommands[] = {
    "newFolder:", "newFile:", "", "paste:", "moveHere:", "", "copyPath:", "openInTerminal:",
};

template <size_t N>
void addCommands(QMenu& menu, QWidget* window, const char* const (&names)[N])
{
    bool pendingSeparator = false;
    for (const char* name : names) {
        if (!*name) {
            pendingSeparator = !menu.isEmpty();
            continue;
        }
        QAction* item = ActionRouter::target(QString::fromLatin1(name), window);
        if (!item || !ActionRouter::isEnabled(item))
            continue;
        if (pendingSeparator)
            menu.addSeparator();
        pendingSeparator = false;
        menu.addAction(item);
    }
}

} // namespace

PaneContextMenu::PaneContextMenu(PaneView& pane)
    : QObject(&pane)
    , m_pane(pane)
{
    FileTreeView* list = pane.listView();
    list->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(list, &QWidget::customContextMenuRequested, this, &PaneContextMenu::open);
}

void PaneContextMenu::open(const QPoint& at)
{
    FileTreeView* list = m_pane.listView();
    const QModelIndex clicked = list->indexAt(at);
    // A click on an empty spot is about the folder itself.
    if (!clicked.isValid())
        list->clearSelection();
    auto* menu = new QMenu(list);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    if (list->selectionModel()->hasSelection()) {
        addCommands(*menu, m_pane.window(), kItemCommands);
        addOpenWith(*menu);
    } else
        addCommands(*menu, m_pane.window(), kFolderCommands);
    if (menu->isEmpty()) {
        delete menu;
        return;
    }
    menu->popup(list->viewport()->mapToGlobal(at));
}

// Right after 開く, for files only: a folder opens in Quillo itself.
void PaneContextMenu::addOpenWith(QMenu& menu)
{
    std::vector<std::filesystem::path> files;
    for (const QModelIndex& index : m_pane.listView()->selectionModel()->selectedRows()) {
        const FileNode* node = m_pane.model()->nodeForIndex(index);
        if (!node || node->entry.isFolder)
            return;
        files.push_back(node->entry.path());
    }
    if (files.empty())
        return;
    QWidget* window = m_pane.window();
    auto* openWith = new OpenWithMenu(
        std::move(files), window, [window] { return std::make_shared<DialogPrompter>(window); },
        &menu);
    const QList<QAction*> items = menu.actions();
    QAction* open = ActionRouter::target(QStringLiteral("openSelection:"), window);
    const qsizetype at = items.indexOf(open);
    menu.insertMenu(at >= 0 && at + 1 < items.size() ? items[at + 1] : nullptr, openWith)
        ->setObjectName(QStringLiteral("openWith"));
}
