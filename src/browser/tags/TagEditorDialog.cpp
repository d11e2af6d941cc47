#include "browser/tags/TagEditorDialog.h"

#include "browser/pane/IconCache.h"
#include "browser/tags/TagColorPicker.h"
#include "core/PathText.h"
#include "palette/SearchFilter.h"
#include "tags/TagStore.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

constexpr int kTagIDRole = Qt::UserRole;
constexpr int kMatchesRole = Qt::UserRole + 1; // false: shown only for a descendant's sake

QString untaggableText(const std::filesystem::path& path)
{
    return QStringLiteral("「%1」の名前は UTF-8 ではないため、タグを付けられません。")
        .arg(PathText::displayName(path));
}

QString subjectText(const std::vector<std::filesystem::path>& items)
{
    if (items.size() == 1)
        return QStringLiteral("「%1」").arg(PathText::displayName(items.front()));
    return QStringLiteral("%1 項目").arg(items.size());
}

QList<QPair<QUuid, QString>> shapeOf(const QList<Tag>& tags)
{
    QList<QPair<QUuid, QString>> shape;
    shape.reserve(tags.size());
    for (const Tag& tag : tags)
        shape.append({tag.id, tag.name});
    return shape;
}

bool isReturn(const QKeyEvent* key)
{
    return (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
           (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
}

} // namespace

TagEditorDialog::TagEditorDialog(TagStore& store, const std::vector<Path>& items, QWidget* parent)
    : QDialog(parent)
    , m_store(store)
{
    QStringList refusals;
    for (const Path& path : items) {
        if (TagStore::canTag(path))
            m_items.push_back(path);
        else
            refusals << untaggableText(path);
    }
    setWindowTitle(QStringLiteral("タグを編集"));
    buildWidgets(items);
    m_note->setText(refusals.join(QLatin1Char('\n')));
    m_note->setVisible(!refusals.isEmpty());
    rebuild();
    selectFirstMatch();
    connect(&m_store, &TagStore::tagsChanged, this, &TagEditorDialog::storeChanged);
}

TagEditorDialog* TagEditorDialog::showFor(QWidget* window, const std::vector<Path>& items)
{
    auto* dialog = new TagEditorDialog(TagStore::shared(), items, window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open(); // window-modal over its window
    return dialog;
}

void TagEditorDialog::buildWidgets(const std::vector<Path>& items)
{
    auto* subject = new QLabel(items.empty() ? QString() : subjectText(items), this);
    subject->setVisible(!items.empty());
    m_filter = new QLineEdit(this);
    m_filter->setObjectName(QStringLiteral("filter"));
    m_filter->setPlaceholderText(QStringLiteral("タグを検索または作成"));
    m_filter->setClearButtonEnabled(true);
    m_filter->installEventFilter(this);
    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("tags"));
    m_list->setColumnCount(2);
    m_list->setHeaderHidden(true);
    m_list->setRootIsDecorated(false);
    m_list->setItemsExpandable(false);
    m_list->setExpandsOnDoubleClick(false);
    m_list->setUniformRowHeights(true);
    m_list->setIndentation(18);
    m_list->setIconSize(QSize(12, 12));
    m_list->header()->setStretchLastSection(false);
    m_list->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_list->header()->setSectionResizeMode(1, QHeaderView::Fixed);
    m_list->header()->resizeSection(1, 32);
    m_list->installEventFilter(this);
    m_note = new QLabel(this);
    m_note->setObjectName(QStringLiteral("note"));
    m_note->setWordWrap(true);
    auto* close = new QPushButton(QStringLiteral("閉じる"), this);
    // Return belongs to the field and the list.
    close->setAutoDefault(false);
    connect(close, &QPushButton::clicked, this, &QDialog::accept);

    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(close);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(subject);
    layout->addWidget(m_filter);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_note);
    layout->addLayout(buttons);
    setTabOrder(m_filter, m_list);
    setTabOrder(m_list, close);
    resize(380, 460);

    connect(m_filter, &QLineEdit::textChanged, this, [this] {
        applyFilter();
        selectFirstMatch();
    });
    connect(m_list, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* row, int column) {
        if (column == 0)
            activate(row);
    });
}

// A change of the tags themselves rebuilds the rows; one of assignments or colours
// only updates them, so that a click's own row survives its handling.
void TagEditorDialog::storeChanged()
{
    if (shapeOf(m_store.sortedTags()) != m_shape) {
        const QTreeWidgetItem* current = m_list->currentItem();
        const QUuid keep = current ? current->data(0, kTagIDRole).toUuid() : QUuid();
        rebuild();
        if (QTreeWidgetItem* row = m_rows.value(keep); row && !row->isHidden())
            m_list->setCurrentItem(row);
        else
            selectFirstMatch();
        return;
    }
    refresh();
}

void TagEditorDialog::rebuild()
{
    m_list->clear();
    m_rows.clear();
    const QList<Tag>& tags = m_store.sortedTags();
    m_shape = shapeOf(tags);
    m_createRow = new QTreeWidgetItem(m_list);
    m_createRow->setIcon(0, QIcon::fromTheme(QStringLiteral("list-add")));
    QHash<QString, QTreeWidgetItem*> byName;
    for (const Tag& tag : tags) {
        // sortedTags puts every parent before its children.
        const auto parentName = tag.parentName();
        QTreeWidgetItem* parent = parentName ? byName.value(*parentName) : nullptr;
        auto* row = parent ? new QTreeWidgetItem(parent) : new QTreeWidgetItem(m_list);
        row->setText(0, tag.leafName());
        row->setToolTip(0, tag.name);
        row->setData(0, kTagIDRole, tag.id);
        byName.insert(tag.name, row);
        m_rows.insert(tag.id, row);
        auto* picker = new TagColorPicker(m_list);
        picker->setFocusPolicy(Qt::NoFocus); // Tab goes from the list to the buttons
        picker->setAccessibleName(QStringLiteral("「%1」の色").arg(tag.name));
        connect(picker, &TagColorPicker::colorChosen, this,
                [this, id = tag.id](const QString& color) { m_store.setColor(id, color); });
        m_list->setItemWidget(row, 1, picker);
    }
    m_list->expandAll();
    refresh();
    applyFilter();
}

void TagEditorDialog::refresh()
{
    QHash<QUuid, int> counts;
    for (const Path& path : m_items) {
        const auto item = m_store.itemsByPath().constFind(TagStore::key(path));
        if (item == m_store.itemsByPath().constEnd())
            continue;
        for (const QUuid& id : item->tagIDs)
            ++counts[id];
    }
    const int all = int(m_items.size());
    for (const Tag& tag : m_store.sortedTags()) {
        QTreeWidgetItem* row = m_rows.value(tag.id);
        if (!row)
            continue;
        const int count = counts.value(tag.id);
        const Qt::CheckState state = all > 0 && count == all ? Qt::Checked
                                     : count > 0             ? Qt::PartiallyChecked
                                                             : Qt::Unchecked;
        if (row->data(0, Qt::CheckStateRole) != QVariant(state))
            row->setCheckState(0, state);
        row->setIcon(0, IconCache::dot(tag.color));
        if (auto* picker = qobject_cast<TagColorPicker*>(m_list->itemWidget(row, 1)))
            picker->setColor(tag.color);
    }
}

// Shows the tags whose name the text finds, with their ancestors for context,
// and offers to create the text as a tag when no tag bears exactly that name.
void TagEditorDialog::applyFilter()
{
    const QString text = m_filter->text().trimmed();
    const bool byPath = text.contains(QLatin1Char('/'));
    for (const Tag& tag : m_store.sortedTags()) {
        if (QTreeWidgetItem* row = m_rows.value(tag.id)) {
            const bool matches = SearchFilter::matches(text, byPath ? tag.name : tag.leafName());
            row->setData(0, kMatchesRole, matches);
            row->setHidden(!matches);
            row->setForeground(0, palette().brush(QPalette::Text));
        }
    }
    for (QTreeWidgetItem* row : std::as_const(m_rows)) {
        if (row->isHidden() || !row->data(0, kMatchesRole).toBool())
            continue;
        for (QTreeWidgetItem* up = row->parent(); up && up->isHidden(); up = up->parent()) {
            up->setHidden(false);
            up->setForeground(0, palette().brush(QPalette::Disabled, QPalette::Text));
        }
    }
    const QString name = TagNames::normalized(text);
    const bool offer = !name.isEmpty() && !m_store.tagNamed(name);
    m_createRow->setText(0, QStringLiteral("「%1」を作成").arg(name));
    m_createRow->setHidden(!offer);
}

// The offered creation first; else the first tag that matches the text itself.
void TagEditorDialog::selectFirstMatch()
{
    if (!m_createRow->isHidden()) {
        m_list->setCurrentItem(m_createRow);
        return;
    }
    for (QTreeWidgetItemIterator it(m_list, QTreeWidgetItemIterator::NotHidden); *it; ++it) {
        if ((*it)->data(0, kMatchesRole).toBool()) {
            m_list->setCurrentItem(*it);
            return;
        }
    }
}

void TagEditorDialog::activateCurrent()
{
    QTreeWidgetItem* row = m_list->currentItem();
    if (row && !row->isHidden())
        activate(row);
}

void TagEditorDialog::activate(QTreeWidgetItem* row)
{
    if (row == m_createRow)
        createFromFilter();
    else if (row)
        toggle(row->data(0, kTagIDRole).toUuid());
}

void TagEditorDialog::toggle(const QUuid& id)
{
    const QTreeWidgetItem* row = m_rows.value(id);
    if (!row || m_items.empty())
        return;
    if (row->checkState(0) == Qt::Checked)
        m_store.unassign(id, m_items);
    else
        m_store.assign(id, m_items);
}

void TagEditorDialog::createFromFilter()
{
    const std::optional<Tag> tag = m_store.createTag(m_filter->text());
    if (!tag)
        return;
    if (!m_items.empty())
        m_store.assign(tag->id, m_items);
    m_filter->clear();
    if (QTreeWidgetItem* row = m_rows.value(tag->id)) {
        m_list->setCurrentItem(row);
        m_list->scrollToItem(row);
    }
}

bool TagEditorDialog::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::KeyPress || (watched != m_filter && watched != m_list))
        return QDialog::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    if (isReturn(key) ||
        (watched == m_list && key->key() == Qt::Key_Space && key->modifiers() == Qt::NoModifier)) {
        activateCurrent();
        return true;
    }
    if (watched == m_filter) {
        switch (key->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown:
            // The rows move while typing goes on in the field.
            QCoreApplication::sendEvent(m_list, event);
            return true;
        default:
            break;
        }
    }
    return QDialog::eventFilter(watched, event);
}
