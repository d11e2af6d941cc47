#include "browser/palette/PalettePanel.h"

#include "browser/menus/ActionRouter.h"
#include "browser/menus/AppCommands.h"
#include "browser/menus/CommandCatalog.h"
#include "browser/palette/PaletteDelegate.h"
#include "browser/palette/PaletteListModel.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/FileNode.h"
#include "palette/FolderHistory.h"
#include "palette/PaletteModel.h"
#include "palette/PathCompletion.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QApplication>
#include <QGraphicsDropShadowEffect>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMenuBar>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace fs = std::filesystem;

namespace {

constexpr int kMaxWidth = 680;
constexpr int kVisibleRows = 10;
constexpr int kPageRows = kVisibleRows - 1;

QList<SidebarItem> sidebarFolders(const SidebarStore& store)
{
    QList<SidebarItem> items = store.favorites();
    items += store.places();
    items += store.volumes();
    for (const CustomSidebarSection& section : store.customSections())
        items += section.items;
    return items;
}

std::vector<FileIndex::Entry> childrenOf(const PaneView* pane)
{
    std::vector<FileIndex::Entry> children;
    const FileNode* root = pane ? pane->model()->root() : nullptr;
    if (!root || !root->childrenLoaded())
        return children;
    children.reserve(root->children().size());
    for (const auto& child : root->children())
        children.push_back({child->entry.path(), child->entry.isFolder});
    return children;
}

PaletteModel::Context contextOf(BrowserWindow& window)
{
    PaletteModel::Context context;
    context.commands = CommandCatalog::collect(&window);
    const PaneView* pane = window.activePane();
    if (pane && pane->location().isFolder())
        context.currentFolder = pane->location().path();
    context.currentChildren = childrenOf(pane);
    context.sidebarItems = sidebarFolders(SidebarStore::shared());
    context.places = SidebarStore::shared().places();
    context.tags = TagStore::shared().sortedTags();
    context.home = PathText::homeFolder();
    context.includeHidden = Preferences::shared().showHiddenFiles();
    return context;
}

} // namespace

PalettePanel::PalettePanel(BrowserWindow& window)
    : QFrame(&window)
    , m_window(window)
{
    build();
    hide();
    window.installEventFilter(this);
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget*, QWidget* now) { focusChanged(now); });
}

PaletteModel* PalettePanel::model() const
{
    return m_model;
}

void PalettePanel::build()
{
    setObjectName(QStringLiteral("commandPalette"));
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    auto* shadow = new QGraphicsDropShadowEffect(this);
    shadow->setBlurRadius(24);
    shadow->setOffset(0, 4);
    setGraphicsEffect(shadow);

    m_field = new QLineEdit(this);
    m_field->setPlaceholderText(
        QStringLiteral("検索（> コマンド　/ ~ パス　@ ファイル　# サイドバー）"));
    m_field->setClearButtonEnabled(true);
    m_field->installEventFilter(this);
    connect(m_field, &QLineEdit::textChanged, this, [this](const QString& text) {
        if (m_model)
            m_model->setQuery(text);
    });

    m_rows = new PaletteListModel(this);
    m_list = new QListView(this);
    m_list->setModel(m_rows);
    m_list->setItemDelegate(new PaletteDelegate(m_list));
    m_list->setFocusPolicy(Qt::NoFocus);
    m_list->setUniformItemSizes(false);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(m_list, &QListView::clicked, this, [this](const QModelIndex& index) {
        if (!m_model)
            return;
        m_model->setSelectedIndex(index.row());
        activateSelected(QApplication::keyboardModifiers());
    });

    m_empty = new QLabel(this);
    m_empty->setAlignment(Qt::AlignCenter);
    m_empty->setMinimumHeight(48);
    m_footer = new QLabel(QStringLiteral("↩ 開く・実行　Ctrl+↩ 反対側の画面　Alt+↩ 新しいタブ　"
                                         "Ctrl+Shift+↩ ターミナル　⇥ 補完　esc 閉じる"),
                          this);
    m_footer->setAlignment(Qt::AlignCenter);
    m_footer->setForegroundRole(QPalette::PlaceholderText);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 6);
    layout->setSpacing(6);
    layout->addWidget(m_field);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_empty);
    layout->addWidget(m_footer);
}

void PalettePanel::open()
{
    if (m_model)
        m_model->deleteLater();
    m_model = new PaletteModel(contextOf(m_window), FolderHistory::shared(), this);
    connect(m_model, &PaletteModel::itemsChanged, this, &PalettePanel::refresh);
    connect(m_model, &PaletteModel::selectionChanged, this, &PalettePanel::showSelection);
    m_rows->setModel(m_model);
    {
        const QSignalBlocker blocker(m_field);
        m_field->clear();
    }
    refresh();
    show();
    raise();
    m_field->setFocus(Qt::PopupFocusReason);
}

void PalettePanel::close()
{
    if (!isVisible())
        return;
    hide();
    m_rows->setModel(nullptr);
    if (m_model)
        m_model->deleteLater();
}

void PalettePanel::refresh()
{
    const bool hasItems = m_model && !m_model->items().empty();
    const QString empty = m_model ? m_model->emptyText() : QString();
    m_list->setVisible(hasItems);
    m_empty->setText(empty);
    m_empty->setVisible(!hasItems && !empty.isEmpty());
    showSelection();
    place();
}

void PalettePanel::showSelection()
{
    if (!m_model || m_model->items().empty())
        return;
    const QModelIndex index = m_rows->index(m_model->selectedIndex());
    m_list->setCurrentIndex(index);
    m_list->scrollTo(index);
}

void PalettePanel::place()
{
    const int width = std::min(kMaxWidth, m_window.width() - 40);
    const int top = m_window.menuBar()->height() + 24;
    const int maxHeight = m_window.height() - top - 16;
    if (!m_list->isHidden()) {
        // The list is exactly as tall as its first rows, so none is cut in half.
        const int rows = std::min(kVisibleRows, m_rows->rowCount());
        int listHeight = 2 * m_list->frameWidth();
        for (int row = 0; row < rows; ++row)
            listHeight += m_list->sizeHintForRow(row);
        m_list->setFixedHeight(listHeight);
        const int over = layout()->sizeHint().height() - maxHeight;
        if (over > 0)
            m_list->setFixedHeight(std::max(m_list->sizeHintForRow(0), listHeight - over));
    }
    setGeometry((m_window.width() - width) / 2, top, width,
                std::min(layout()->sizeHint().height(), maxHeight));
}

bool PalettePanel::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == &m_window && event->type() == QEvent::Resize && isVisible())
        place();
    if (watched == m_field && event->type() == QEvent::KeyPress)
        return handleKey(static_cast<QKeyEvent*>(event));
    if (watched == m_field && event->type() == QEvent::ShortcutOverride) {
        // Keys of the palette win over menu shortcuts while it has the focus.
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Return || key == Qt::Key_Enter || key == Qt::Key_Tab ||
            key == Qt::Key_Escape) {
            event->accept();
            return true;
        }
    }
    return QFrame::eventFilter(watched, event);
}

bool PalettePanel::handleKey(QKeyEvent* event)
{
    if (!m_model)
        return false;
    switch (event->key()) {
    case Qt::Key_Up:
        m_model->moveSelection(-1);
        return true;
    case Qt::Key_Down:
        m_model->moveSelection(1);
        return true;
    case Qt::Key_PageUp:
        m_model->moveSelection(-kPageRows);
        return true;
    case Qt::Key_PageDown:
        m_model->moveSelection(kPageRows);
        return true;
    case Qt::Key_Return:
    case Qt::Key_Enter:
        activateSelected(event->modifiers());
        return true;
    case Qt::Key_Tab:
        complete();
        return true;
    case Qt::Key_Escape:
        close();
        if (PaneView* pane = m_window.activePane())
            pane->focusList();
        return true;
    default:
        return false;
    }
}

void PalettePanel::activateSelected(Qt::KeyboardModifiers modifiers)
{
    const PaletteItem* item = m_model ? m_model->selectedItem() : nullptr;
    if (!item)
        return;
    const Qt::KeyboardModifiers relevant =
        modifiers & (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier);
    if (relevant == (Qt::ControlModifier | Qt::ShiftModifier))
        openInTerminal(*item);
    else if (relevant == Qt::ControlModifier)
        activate(*item, Target::OtherPane);
    else if (relevant == Qt::AltModifier)
        activate(*item, Target::NewTab);
    else if (relevant == Qt::NoModifier)
        activate(*item, Target::ActivePane);
}

// Folders only: a file, a tag or a command has no folder to open there.
void PalettePanel::openInTerminal(const PaletteItem& item)
{
    if (!std::holds_alternative<PaletteItem::Folder>(item.kind) &&
        !std::holds_alternative<PaletteItem::Path>(item.kind))
        return;
    const fs::path folder = item.location();
    close();
    if (AppCommands* apps = AppCommands::installed())
        apps->openInTerminal(folder);
    if (PaneView* pane = m_window.activePane())
        pane->focusList();
}

void PalettePanel::activate(const PaletteItem& chosen, Target target)
{
    const PaletteItem item = chosen; // the model goes with close()
    if (const auto* command = std::get_if<PaletteCommand>(&item.kind)) {
        if (m_model)
            m_model->recordUse(*command);
        close();
        ActionRouter::send(command->item);
        return;
    }
    Location location;
    std::optional<fs::path> select;
    if (const auto* tag = std::get_if<Tag>(&item.kind)) {
        location = Location::tag(tag->id);
    } else if (item.isFile()) {
        location = Location::folder(PathText::parent(item.location()));
        select = item.location();
    } else {
        location = Location::folder(item.location());
    }
    close();
    PaneContainer* container = m_window.currentContainer();
    PaneView* pane = m_window.activePane();
    if (!container || !pane)
        return;
    switch (target) {
    case Target::ActivePane:
        pane->navigate(location, select);
        if (select)
            pane->openFiles({*select});
        break;
    case Target::OtherPane:
        if (!container->otherPane())
            container->toggleSplit();
        if (PaneView* other = container->otherPane()) {
            other->navigate(location, select);
            container->setActivePane(other);
        }
        break;
    case Target::NewTab:
        m_window.newTab(location);
        if (select)
            m_window.activePane()->selectWhenListed({*select});
        break;
    }
    if (PaneView* active = m_window.activePane())
        active->focusList();
}

// Tab: a typed path is completed on the thread pool; a chosen folder becomes the
// typed path, ready for the next component.
void PalettePanel::complete()
{
    if (!m_model)
        return;
    const QString query = m_field->text();
    if (m_model->mode() == PaletteMode::Path) {
        QtConcurrent::run(PathCompletion::complete, query, m_model->baseFolder(),
                          PathText::toStorableText(m_model->home()))
            .then(this, [this, query](const QString& completed) {
                if (isVisible() && m_field->text() == query)
                    m_field->setText(completed);
            });
        return;
    }
    const PaletteItem* item = m_model->selectedItem();
    if (!item || item->isFile() || item->location().empty())
        return;
    QString text = PathText::abbreviated(item->location(), m_model->home());
    if (!text.endsWith(QLatin1Char('/')))
        text += QLatin1Char('/');
    m_field->setText(text);
}

void PalettePanel::focusChanged(QWidget* now)
{
    if (isVisible() && now && now != this && !isAncestorOf(now))
        close();
}
