#include "browser/settings/TagManagerWidget.h"

#include "browser/operations/DialogPrompter.h"
#include "browser/operations/NamePrompt.h"
#include "browser/tags/TagColorPicker.h"
#include "browser/tags/TagTreeModel.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "tags/TagStore.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTreeView>
#include <QVBoxLayout>
#include <QtConcurrent>
#include <functional>

namespace {

Alert deleteAlert(const QString& name)
{
    Alert alert;
    alert.message = QStringLiteral("タグ「%1」を削除しますか？").arg(name);
    alert.informativeText = QStringLiteral("このタグと下位のタグは、すべての項目から外されます。");
    alert.buttons = {QStringLiteral("削除"), QStringLiteral("キャンセル")};
    alert.destructiveButton = 0;
    alert.defaultButton = 1;
    alert.escapeButton = 1;
    return alert;
}

constexpr int kListedNames = 20; // more would not fit the question

Alert importAlert(const std::vector<TagAttributeMirror::Candidate>& candidates)
{
    QStringList lines;
    for (const auto& candidate : candidates) {
        if (lines.size() == kListedNames) {
            lines << QStringLiteral("ほか %1 個").arg(candidates.size() - kListedNames);
            break;
        }
        lines << QStringLiteral("%1（%2 項目）").arg(candidate.name).arg(candidate.items.size());
    }
    Alert alert;
    alert.style = Alert::Style::informational;
    alert.message =
        QStringLiteral("拡張属性に、まだないタグが %1 個見つかりました。読み込みますか？")
            .arg(candidates.size());
    alert.informativeText = lines.join(u'\n');
    alert.buttons = {QStringLiteral("読み込む"), QStringLiteral("キャンセル")};
    alert.defaultButton = 0;
    alert.escapeButton = 1;
    return alert;
}

std::optional<QUuid> idOrRoot(const QUuid& id)
{
    return id.isNull() ? std::nullopt : std::optional<QUuid>(id);
}

} // namespace

TagManagerWidget::TagManagerWidget(TagStore& store, QWidget* parent)
    : QWidget(parent)
    , m_store(store)
    , m_model(new TagTreeModel(store, this))
{
    buildWidgets();
    connectSignals();
    m_view->expandAll();
    if (m_model->rowCount() > 0)
        m_view->setCurrentIndex(m_model->index(0, 0));
    updateButtons();
}

TagManagerWidget::~TagManagerWidget()
{
    if (m_importCancelled)
        m_importCancelled->store(true);
}

void TagManagerWidget::buildWidgets()
{
    auto* hint = new QLabel(
        QStringLiteral("ドラッグするか Ctrl+矢印キーで、タグの順序と階層を変えられます。"), this);
    hint->setWordWrap(true);
    m_view = new QTreeView(this);
    m_view->setObjectName(QStringLiteral("tagTree"));
    m_view->setModel(m_model);
    m_view->setHeaderHidden(true);
    m_view->setUniformRowHeights(true);
    m_view->setIconSize(QSize(12, 12));
    m_view->setSelectionMode(QAbstractItemView::SingleSelection);
    m_view->setEditTriggers(QAbstractItemView::EditKeyPressed | QAbstractItemView::SelectedClicked);
    m_view->setDragDropMode(QAbstractItemView::InternalMove);
    m_view->setDefaultDropAction(Qt::MoveAction);
    m_view->setDropIndicatorShown(true);
    m_view->installEventFilter(this);
    m_message = new QLabel(this);
    m_message->setObjectName(QStringLiteral("message"));
    m_message->setWordWrap(true);
    m_new = new QPushButton(QStringLiteral("新規タグ…"), this);
    m_rename = new QPushButton(QStringLiteral("名前を変更…"), this);
    m_color = new TagColorPicker(this);
    m_color->setText(QStringLiteral("色"));
    m_color->setAccessibleName(QStringLiteral("色"));
    m_color->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    m_color->setAutoRaise(false);
    m_delete = new QPushButton(QStringLiteral("削除…"), this);
    m_import = new QPushButton(QStringLiteral("拡張属性からタグを読み込む…"), this);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_new);
    buttons->addWidget(m_rename);
    buttons->addWidget(m_color);
    buttons->addStretch(1);
    buttons->addWidget(m_delete);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    layout->addWidget(m_view, 1);
    layout->addWidget(m_message);
    layout->addLayout(buttons);
    auto* more = new QHBoxLayout;
    more->addWidget(m_import);
    more->addStretch(1);
    layout->addLayout(more);
    setTabOrder(m_view, m_new);
    setTabOrder(m_new, m_rename);
    setTabOrder(m_rename, m_color);
    setTabOrder(m_color, m_delete);
    setTabOrder(m_delete, m_import);
}

void TagManagerWidget::connectSignals()
{
    connect(m_model, &TagTreeModel::refused, this, &TagManagerWidget::showMessage);
    connect(m_model, &QAbstractItemModel::modelAboutToBeReset, this,
            &TagManagerWidget::saveViewState);
    connect(m_model, &QAbstractItemModel::modelReset, this, &TagManagerWidget::restoreViewState);
    connect(m_model, &QAbstractItemModel::dataChanged, this, &TagManagerWidget::updateButtons);
    connect(m_view->selectionModel(), &QItemSelectionModel::currentChanged, this, [this] {
        showMessage({});
        updateButtons();
    });
    connect(m_new, &QPushButton::clicked, this, &TagManagerWidget::newTag);
    connect(m_rename, &QPushButton::clicked, this, &TagManagerWidget::renameCurrent);
    connect(m_delete, &QPushButton::clicked, this, &TagManagerWidget::deleteCurrent);
    connect(m_import, &QPushButton::clicked, this, &TagManagerWidget::importFromAttributes);
    connect(m_color, &TagColorPicker::colorChosen, this, [this](const QString& color) {
        if (const QUuid id = currentID(); !id.isNull())
            m_store.setColor(id, color);
    });
}

void TagManagerWidget::setPrompter(std::unique_ptr<Prompter> prompter)
{
    m_prompter = std::move(prompter);
}

QUuid TagManagerWidget::currentID() const
{
    return m_model->idAt(m_view->currentIndex());
}

void TagManagerWidget::selectTag(const QUuid& id)
{
    const QModelIndex index = m_model->indexOf(id);
    if (!index.isValid())
        return;
    m_view->setCurrentIndex(index);
    m_view->scrollTo(index);
}

void TagManagerWidget::saveViewState()
{
    m_current = currentID();
    m_collapsed.clear();
    // Remembered as collapsed, so that tags new to the tree show expanded.
    std::function<void(const QModelIndex&)> walk = [&](const QModelIndex& parent) {
        for (int row = 0; row < m_model->rowCount(parent); ++row) {
            const QModelIndex index = m_model->index(row, 0, parent);
            if (m_model->rowCount(index) > 0 && !m_view->isExpanded(index))
                m_collapsed.insert(m_model->idAt(index));
            walk(index);
        }
    };
    walk({});
}

void TagManagerWidget::restoreViewState()
{
    m_view->expandAll();
    for (const QUuid& id : std::as_const(m_collapsed))
        m_view->collapse(m_model->indexOf(id));
    selectTag(m_current);
    updateButtons();
}

void TagManagerWidget::updateButtons()
{
    const QUuid id = currentID();
    const bool editable = !id.isNull() && id != TagStore::favoritesID;
    m_rename->setEnabled(editable);
    m_delete->setEnabled(editable);
    m_color->setEnabled(!id.isNull());
    const std::optional<Tag> tag = m_store.tag(id);
    m_color->setColor(tag ? tag->color : QString());
}

void TagManagerWidget::showMessage(const QString& text)
{
    m_message->setText(text);
}

void TagManagerWidget::renameCurrent()
{
    const QModelIndex index = m_view->currentIndex();
    if (index.isValid() && (m_model->flags(index) & Qt::ItemIsEditable))
        m_view->edit(index);
}

void TagManagerWidget::deleteCurrent()
{
    const std::optional<Tag> tag = m_store.tag(currentID());
    if (!tag || tag->id == TagStore::favoritesID)
        return;
    if (!m_prompter)
        m_prompter = std::make_unique<DialogPrompter>(window());
    m_prompter->present(deleteAlert(tag->name),
                        [this, id = tag->id, guard = QPointer(this)](Alert::Response answer) {
                            if (guard && answer.button == 0 && m_store.tag(id))
                                m_store.deleteTag(id);
                        });
}

void TagManagerWidget::newTag()
{
    NamePrompt::open(window(), QStringLiteral("新規タグ"),
                     QStringLiteral("タグの名前（「/」で区切ると下位のタグになります）:"),
                     QString(), QStringLiteral("作成"),
                     [guard = QPointer(this)](const QString& name) {
                         if (guard)
                             guard->createTag(name);
                     });
}

bool TagManagerWidget::createTag(const QString& name)
{
    const std::optional<QUuid> id = m_model->createTag(name);
    if (!id)
        return false;
    selectTag(*id);
    showMessage({});
    return true;
}

void TagManagerWidget::moveCurrent(int delta)
{
    const QModelIndex index = m_view->currentIndex();
    const int target = index.row() + delta;
    if (!index.isValid() || target < 0 || target >= m_model->rowCount(index.parent()))
        return;
    if (m_model->moveTag(m_model->idAt(index), idOrRoot(m_model->idAt(index.parent())), target))
        showMessage({});
}

void TagManagerWidget::outdentCurrent()
{
    const QModelIndex index = m_view->currentIndex();
    const QModelIndex parent = index.parent();
    if (!index.isValid() || !parent.isValid())
        return;
    const auto grandparent = idOrRoot(m_model->idAt(parent.parent()));
    if (m_model->moveTag(m_model->idAt(index), grandparent, parent.row() + 1))
        showMessage({});
}

void TagManagerWidget::indentCurrent()
{
    const QModelIndex index = m_view->currentIndex();
    if (!index.isValid() || index.row() == 0)
        return;
    const QUuid above = m_model->idAt(index.sibling(index.row() - 1, 0));
    if (m_model->moveTag(m_model->idAt(index), above)) {
        m_view->expand(m_model->indexOf(above));
        showMessage({});
    }
}

void TagManagerWidget::importFromAttributes()
{
    const QString folder =
        QFileDialog::getExistingDirectory(this, QStringLiteral("タグを読み込むフォルダを選択"),
                                          PathText::display(PathText::homeFolder()));
    if (!folder.isEmpty())
        importFrom(PathText::fromText(folder));
}

void TagManagerWidget::importFrom(const std::filesystem::path& folder)
{
    if (m_importCancelled)
        m_importCancelled->store(true);
    auto cancelled = std::make_shared<std::atomic<bool>>(false);
    m_importCancelled = cancelled;
    m_import->setEnabled(false);
    showMessage(QStringLiteral("拡張属性を読み込んでいます…"));
    // A whole tree: long work, on the pool of file walks.
    QtConcurrent::run(&WorkPools::fileIndex(), [folder, cancelled] {
        return TagAttributeMirror::scan(folder, *cancelled);
    }).then(this, [this, cancelled](std::vector<TagAttributeMirror::Candidate> found) {
        if (cancelled != m_importCancelled)
            return; // a later scan replaced this one
        m_importCancelled.reset();
        m_import->setEnabled(true);
        Q_EMIT importScanned();
        offerImport(TagAttributeMirror::unknownTo(m_store, std::move(found)));
    });
}

void TagManagerWidget::offerImport(std::vector<TagAttributeMirror::Candidate> candidates)
{
    if (candidates.empty()) {
        showMessage(QStringLiteral("拡張属性に、まだないタグは見つかりませんでした。"));
        return;
    }
    showMessage({});
    if (!m_prompter)
        m_prompter = std::make_unique<DialogPrompter>(window());
    const Alert alert = importAlert(candidates);
    m_prompter->present(alert, [this, guard = QPointer(this),
                                candidates = std::move(candidates)](Alert::Response answer) {
        if (!guard || answer.button != 0)
            return;
        TagAttributeMirror::importTags(m_store, candidates);
        showMessage(QStringLiteral("%1 個のタグを読み込みました。").arg(candidates.size()));
    });
}

bool TagManagerWidget::eventFilter(QObject* watched, QEvent* event)
{
    // An open in-place editor has the keys itself; these reach the tree only.
    if (watched != m_view || event->type() != QEvent::KeyPress)
        return QWidget::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const auto modifiers = key->modifiers() & ~Qt::KeypadModifier;
    if (modifiers == Qt::ControlModifier) {
        switch (key->key()) {
        case Qt::Key_Up:
            moveCurrent(-1);
            return true;
        case Qt::Key_Down:
            moveCurrent(1);
            return true;
        case Qt::Key_Left:
            outdentCurrent();
            return true;
        case Qt::Key_Right:
            indentCurrent();
            return true;
        default:
            break;
        }
    }
    if (modifiers == Qt::NoModifier && key->key() == Qt::Key_Delete) {
        deleteCurrent();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}
