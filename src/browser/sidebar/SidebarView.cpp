#include "browser/sidebar/SidebarView.h"

#include "browser/operations/DialogPrompter.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneFileActions.h"
#include "browser/pane/PaneView.h"
#include "browser/sidebar/SidebarDelegate.h"
#include "browser/sidebar/SidebarMenus.h"
#include "browser/sidebar/SidebarModel.h"
#include "core/AppDefaults.h"
#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "tags/SidebarStore.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QKeyEvent>
#include <QMenu>
#include <QMimeData>
#include <QPaintEvent>
#include <QPainter>
#include <QToolTip>
#include <QtConcurrent>

namespace {

const QString kCollapsedTagsKey = QStringLiteral("sidebarCollapsedTags");
const QString kTagKeyPrefix = QStringLiteral("tagtree:");

constexpr double kPaleAlpha = 0.22;
constexpr qreal kInsetX = 4;
constexpr qreal kInsetY = 1;
constexpr qreal kRadius = 5;

bool isFileDrag(const QDropEvent* event)
{
    return event->mimeData()->hasFormat(QStringLiteral("text/uri-list"));
}

} // namespace

SidebarView::SidebarView(SidebarStore& store, TagStore& tags, PaneSource activePane,
                         QWidget* parent)
    : QTreeView(parent)
    , m_model(new SidebarModel(store, tags, this))
    , m_activePane(std::move(activePane))
{
    setObjectName(QStringLiteral("sidebar"));
    setHeaderHidden(true);
    setRootIsDecorated(false);
    setIndentation(14);
    setIconSize(QSize(16, 16));
    setUniformRowHeights(false);
    setExpandsOnDoubleClick(false);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    setDragDropMode(QAbstractItemView::DragDrop);
    setDefaultDropAction(Qt::MoveAction);
    setDropIndicatorShown(true);
    setFrameShape(QFrame::NoFrame);
    setTextElideMode(Qt::ElideMiddle);
    setItemDelegate(new SidebarDelegate(*this));
    setModel(m_model);
    for (const QString& id : AppDefaults::store().value(kCollapsedTagsKey).toStringList())
        m_collapsed.insert(kTagKeyPrefix + id);
    applyExpansion({});

    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this, &SidebarView::rememberState);
    connect(m_model, &QAbstractItemModel::modelReset, this, &SidebarView::restoreState);
    connect(m_model, &SidebarModel::filesDropped, this, &SidebarView::filesDropped);
    connect(this, &QTreeView::expanded, this,
            [this](const QModelIndex& index) { rowExpansionChanged(index, true); });
    connect(this, &QTreeView::collapsed, this,
            [this](const QModelIndex& index) { rowExpansionChanged(index, false); });
    connect(this, &QAbstractItemView::clicked, this, &SidebarView::open);
    connect(&store, &SidebarStore::ejectFailed, this, [this](const QString& message) {
        if (!std::exchange(m_awaitingEject, false))
            return; // another window asked
        Alert alert;
        alert.message = message;
        alert.buttons = {QStringLiteral("OK")};
        std::make_shared<DialogPrompter>(window())->present(alert, {});
    });
    connect(&store, &SidebarStore::volumesChanged, this, [this] { m_awaitingEject = false; });
}

void SidebarView::open(const QModelIndex& index)
{
    if (!index.isValid())
        return;
    if (m_model->sectionBehind(index)) {
        setExpanded(index, !isExpanded(index)); // headers and subsections fold
        return;
    }
    if (index.data(SidebarModel::MissingRole).toBool()) {
        showMissing(index);
        return;
    }
    const auto location = m_model->locationAt(index);
    const auto container = m_model->containerOf(index);
    if (location && location->isFolder() && container &&
        container->kind() == SidebarSection::Kind::tag) {
        openTagged(location->path());
        return;
    }
    PaneView* pane = activePane();
    if (location && pane)
        pane->navigate(*location);
}

// A tag's items are files as well as folders: a file opens its folder, selected there.
void SidebarView::openTagged(const std::filesystem::path& path)
{
    QtConcurrent::run([path] {
        return DirectoryScanner::isDirectory(path);
    }).then(this, [this, path](bool isFolder) {
        PaneView* pane = activePane();
        if (!pane)
            return;
        if (isFolder)
            pane->navigate(Location::folder(path));
        else
            pane->navigate(Location::folder(PathText::parent(path)), path);
    });
}

void SidebarView::showMissing(const QModelIndex& index)
{
    const QRect rect = visualRect(index);
    QToolTip::showText(viewport()->mapToGlobal(rect.bottomLeft()),
                       index.data(Qt::ToolTipRole).toString(), viewport(), rect);
}

void SidebarView::showLocation(const Location& location)
{
    const QModelIndex index = m_model->indexOfLocation(location);
    if (index == currentIndex() && (!index.isValid() || selectionModel()->isSelected(index)))
        return;
    if (!index.isValid()) {
        selectionModel()->clear();
        return;
    }
    selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    scrollTo(index);
}

QRect SidebarView::ejectRect(const QModelIndex& index) const
{
    const QRect row = visualRect(index);
    const int size = SidebarDelegate::kEjectSize;
    return QRect(viewport()->width() - SidebarDelegate::kEjectMargin - size,
                 row.center().y() - size / 2 + 1, size, size);
}

void SidebarView::eject(const SidebarItem& volume)
{
    m_awaitingEject = true;
    m_model->store().eject(volume);
}

void SidebarView::addToFavorites(const PaneView& pane, SidebarStore& store)
{
    std::vector<std::filesystem::path> folders;
    for (const QModelIndex& index : pane.listView()->selectionModel()->selectedRows()) {
        const FileNode* node = pane.model()->nodeForIndex(index);
        if (node && node->entry.isFolder)
            folders.push_back(node->entry.path());
    }
    if (folders.empty() && pane.location().isFolder())
        folders.push_back(pane.location().path());
    for (const std::filesystem::path& folder : folders)
        store.addFavorite(folder);
}

void SidebarView::filesDropped(const QMimeData& data, const std::filesystem::path& folder,
                               Qt::DropAction action)
{
    if (PaneView* pane = activePane())
        pane->fileActions().drop(data, folder, action);
}

void SidebarView::keyPressEvent(QKeyEvent* event)
{
    const auto modifiers = event->modifiers() & ~Qt::KeypadModifier;
    const bool plain = modifiers == Qt::NoModifier;
    if (plain && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        open(currentIndex());
        return;
    }
    if (plain && event->key() == Qt::Key_Escape) {
        if (PaneView* pane = activePane())
            pane->focusList();
        return;
    }
    if ((plain && event->key() == Qt::Key_Menu) ||
        (modifiers == Qt::ShiftModifier && event->key() == Qt::Key_F10)) {
        const QModelIndex index = currentIndex();
        showMenu(index, viewport()->mapToGlobal(visualRect(index).bottomLeft()));
        return;
    }
    QTreeView::keyPressEvent(event);
}

void SidebarView::mousePressEvent(QMouseEvent* event)
{
    const QModelIndex index = indexAt(event->position().toPoint());
    if (event->button() == Qt::LeftButton && index.data(SidebarModel::EjectableRole).toBool() &&
        ejectRect(index).contains(event->position().toPoint())) {
        m_pressedEject = index;
        return;
    }
    m_pressedEject = QPersistentModelIndex();
    QTreeView::mousePressEvent(event);
}

void SidebarView::mouseReleaseEvent(QMouseEvent* event)
{
    if (m_pressedEject.isValid()) {
        const QModelIndex index = std::exchange(m_pressedEject, QPersistentModelIndex());
        if (index == indexAt(event->position().toPoint()) &&
            ejectRect(index).contains(event->position().toPoint())) {
            if (const SidebarItem* item = m_model->itemAt(index))
                eject(*item);
        }
        return;
    }
    QTreeView::mouseReleaseEvent(event);
}

void SidebarView::contextMenuEvent(QContextMenuEvent* event)
{
    if (event->reason() == QContextMenuEvent::Keyboard) {
        const QModelIndex index = currentIndex();
        showMenu(index, viewport()->mapToGlobal(visualRect(index).bottomLeft()));
        return;
    }
    showMenu(indexAt(viewport()->mapFromGlobal(event->globalPos())), event->globalPos());
}

void SidebarView::showMenu(const QModelIndex& index, const QPoint& globalPos)
{
    if (index.isValid())
        selectionModel()->setCurrentIndex(index, QItemSelectionModel::ClearAndSelect);
    SidebarMenus::make(*this, index)->popup(globalPos);
}

void SidebarView::dragMoveEvent(QDragMoveEvent* event)
{
    // Files dropped onto a folder are copied, or moved with Shift.
    if (isFileDrag(event) && !(event->modifiers() & Qt::ShiftModifier) &&
        (event->possibleActions() & Qt::CopyAction))
        event->setDropAction(Qt::CopyAction);
    else if (isFileDrag(event) && (event->possibleActions() & Qt::MoveAction))
        event->setDropAction(Qt::MoveAction);
    QTreeView::dragMoveEvent(event);
}

void SidebarView::dropEvent(QDropEvent* event)
{
    if (isFileDrag(event)) {
        const bool move =
            (event->modifiers() & Qt::ShiftModifier) && (event->possibleActions() & Qt::MoveAction);
        event->setDropAction(move ? Qt::MoveAction : Qt::CopyAction);
    }
    QTreeView::dropEvent(event);
}

void SidebarView::focusInEvent(QFocusEvent* event)
{
    QTreeView::focusInEvent(event);
    viewport()->update(); // the selection turns strong
}

void SidebarView::focusOutEvent(QFocusEvent* event)
{
    QTreeView::focusOutEvent(event);
    viewport()->update();
}

void SidebarView::changeEvent(QEvent* event)
{
    QTreeView::changeEvent(event);
    // Folders may have gone or come back while the window was in the background.
    if (event->type() == QEvent::ActivationChange && isVisible() && window()->isActiveWindow())
        m_model->store().refreshMissing();
}

bool SidebarView::isEmphasized() const
{
    return hasFocus() && window()->isActiveWindow();
}

void SidebarView::paintEvent(QPaintEvent* event)
{
    // The window's own colour sets the sidebar apart from the lists beside it.
    QPainter(viewport()).fillRect(event->rect(), palette().brush(QPalette::Window));
    QTreeView::paintEvent(event);
}

void SidebarView::drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                          const QModelIndex& index) const
{
    QStyleOptionViewItem cells = option;
    if (selectionModel() && selectionModel()->isSelected(index)) {
        QColor fill = palette().color(QPalette::Active, QPalette::Highlight);
        if (!isEmphasized())
            fill.setAlphaF(kPaleAlpha);
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(fill);
        painter->drawRoundedRect(QRectF(option.rect).adjusted(kInsetX, kInsetY, -kInsetX, -kInsetY),
                                 kRadius, kRadius);
        painter->restore();
        // The tree view would fill the branch area with Highlight over the rounded fill.
        for (const auto group : {QPalette::Active, QPalette::Inactive})
            cells.palette.setColor(group, QPalette::Highlight, Qt::transparent);
    }
    QTreeView::drawRow(painter, cells, index);
}

void SidebarView::rememberState()
{
    m_currentKey = m_model->keyOf(currentIndex());
}

void SidebarView::restoreState()
{
    applyExpansion({});
    const QModelIndex current = m_model->indexOfKey(m_currentKey);
    if (current.isValid())
        selectionModel()->setCurrentIndex(current, QItemSelectionModel::ClearAndSelect);
}

void SidebarView::applyExpansion(const QModelIndex& parent)
{
    const bool wasApplying = std::exchange(m_applyingExpansion, true);
    for (int row = 0; row < m_model->rowCount(parent); ++row) {
        const QModelIndex index = m_model->index(row, 0, parent);
        if (!m_model->hasChildren(index))
            continue;
        setExpanded(index, !m_collapsed.contains(m_model->keyOf(index)));
        applyExpansion(index);
    }
    m_applyingExpansion = wasApplying;
}

void SidebarView::rowExpansionChanged(const QModelIndex& index, bool expanded)
{
    if (m_applyingExpansion)
        return;
    const QString key = m_model->keyOf(index);
    if (expanded)
        m_collapsed.remove(key);
    else
        m_collapsed.insert(key);
    if (!key.startsWith(kTagKeyPrefix))
        return;
    QStringList tags;
    for (const QString& collapsed : std::as_const(m_collapsed)) {
        if (collapsed.startsWith(kTagKeyPrefix))
            tags << collapsed.mid(kTagKeyPrefix.size());
    }
    tags.sort();
    AppDefaults::store().setValue(kCollapsedTagsKey, tags);
}
