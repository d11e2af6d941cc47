#include "browser/settings/ShortcutSettingsPage.h"

#include "browser/menus/ShortcutStore.h"
#include "palette/SearchFilter.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace {

enum Column { titleColumn, menuColumn, shortcutColumn };
constexpr int kIdentifierRole = Qt::UserRole;

const QString kPrompt =
    QStringLiteral("ボタンを押してから、割り当てたいキーを押してください（Esc で取り消し）。");
const QString kWaiting = QStringLiteral("キーを押してください…");

QString identifierOf(const QTreeWidgetItem* row)
{
    return row ? row->data(titleColumn, kIdentifierRole).toString() : QString();
}

} // namespace

ShortcutSettingsPage::ShortcutSettingsPage(QWidget* parent)
    : QWidget(parent)
{
    buildWidgets();
    connectSignals();
    rebuild();
    connect(&ShortcutStore::shared(), &ShortcutStore::shortcutsChanged, this,
            &ShortcutSettingsPage::refresh);
}

void ShortcutSettingsPage::buildWidgets()
{
    m_prompt = new QLabel(kPrompt, this);
    m_prompt->setWordWrap(true);
    m_filter = new QLineEdit(this);
    m_filter->setObjectName(QStringLiteral("filter"));
    m_filter->setPlaceholderText(QStringLiteral("絞り込み"));
    m_filter->setClearButtonEnabled(true);
    m_list = new QTreeWidget(this);
    m_list->setObjectName(QStringLiteral("shortcuts"));
    m_list->setColumnCount(3);
    m_list->setHeaderLabels(
        {QStringLiteral("項目"), QStringLiteral("メニュー"), QStringLiteral("ショートカット")});
    m_list->setRootIsDecorated(false);
    m_list->setUniformRowHeights(true);
    m_list->header()->setSectionResizeMode(titleColumn, QHeaderView::Stretch);
    m_list->header()->setStretchLastSection(false);
    m_list->installEventFilter(this);
    m_refusal = new QLabel(this);
    m_refusal->setObjectName(QStringLiteral("refusal"));
    m_refusal->setWordWrap(true);
    m_remove = new QPushButton(QStringLiteral("ショートカットを外す"), this);
    m_reset = new QPushButton(QStringLiteral("初期設定に戻す"), this);
    m_resetAll = new QPushButton(QStringLiteral("すべて初期設定に戻す"), this);

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(m_remove);
    buttons->addWidget(m_reset);
    buttons->addStretch(1);
    buttons->addWidget(m_resetAll);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_prompt);
    layout->addWidget(m_filter);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_refusal);
    layout->addLayout(buttons);
    setTabOrder(m_filter, m_list);
    setTabOrder(m_list, m_remove);
    setTabOrder(m_remove, m_reset);
    setTabOrder(m_reset, m_resetAll);
}

void ShortcutSettingsPage::connectSignals()
{
    connect(m_filter, &QLineEdit::textChanged, this, &ShortcutSettingsPage::applyFilter);
    connect(m_list, &QTreeWidget::currentItemChanged, this, [this] {
        stopRecording();
        updateButtons();
    });
    connect(m_remove, &QPushButton::clicked, this,
            [this] { showRefusal(ShortcutStore::shared().set(KeyCombo{}, selectedIdentifier())); });
    connect(m_reset, &QPushButton::clicked, this,
            [this] { showRefusal(ShortcutStore::shared().reset(selectedIdentifier())); });
    connect(m_resetAll, &QPushButton::clicked, this, [this] {
        ShortcutStore::shared().resetAll();
        showRefusal({});
    });
}

// One row per menu item the store knows, each with a button that records a key.
void ShortcutSettingsPage::rebuild()
{
    m_recording.clear();
    m_list->clear();
    for (const ShortcutStore::Item& item : ShortcutStore::shared().items()) {
        auto* row = new QTreeWidgetItem(m_list, {item.title, item.menuPath, QString()});
        row->setData(titleColumn, kIdentifierRole, item.identifier);
        auto* button = new QPushButton(m_list);
        // The list keeps the focus; Return on a row does what a click does.
        button->setFocusPolicy(Qt::NoFocus);
        connect(button, &QPushButton::clicked, this, [this, row] {
            m_list->setCurrentItem(row);
            m_list->setFocus();
            startRecording(row);
        });
        m_list->setItemWidget(row, shortcutColumn, button);
    }
    m_list->resizeColumnToContents(menuColumn);
    m_list->setColumnWidth(shortcutColumn, 200);
    refresh();
    applyFilter(m_filter->text());
}

void ShortcutSettingsPage::refresh()
{
    const std::vector<ShortcutStore::Item> items = ShortcutStore::shared().items();
    if (int(items.size()) != m_list->topLevelItemCount()) {
        rebuild();
        return;
    }
    for (size_t i = 0; i < items.size(); ++i) {
        const ShortcutStore::Item& item = items[i];
        QTreeWidgetItem* row = m_list->topLevelItem(int(i));
        const bool waiting = item.identifier == m_recording;
        const QString text = waiting ? kWaiting : item.combo.displayText();
        row->setText(shortcutColumn, text);
        if (auto* button = qobject_cast<QPushButton*>(m_list->itemWidget(row, shortcutColumn))) {
            button->setText(text);
            button->setAccessibleName(item.title);
        }
    }
    updateButtons();
}

void ShortcutSettingsPage::applyFilter(const QString& text)
{
    const QString needle = text.trimmed();
    for (int i = 0; i < m_list->topLevelItemCount(); ++i) {
        QTreeWidgetItem* row = m_list->topLevelItem(i);
        const bool shown = needle.isEmpty() ||
                           SearchFilter::matches(needle, row->text(titleColumn)) ||
                           SearchFilter::matches(needle, row->text(menuColumn)) ||
                           row->text(shortcutColumn).contains(needle, Qt::CaseInsensitive);
        row->setHidden(!shown);
    }
}

void ShortcutSettingsPage::startRecording(QTreeWidgetItem* row)
{
    if (!row)
        return;
    m_recording = identifierOf(row);
    showRefusal({});
    refresh();
}

void ShortcutSettingsPage::stopRecording()
{
    if (m_recording.isEmpty())
        return;
    m_recording.clear();
    refresh();
}

void ShortcutSettingsPage::record(const QKeyEvent& event)
{
    if (event.key() == Qt::Key_Escape && event.modifiers() == Qt::NoModifier) {
        stopRecording();
        return;
    }
    const std::optional<KeyCombo> combo = KeyCombo::fromEvent(event);
    if (!combo || event.isAutoRepeat())
        return; // a modifier on its own: keep waiting for the key
    const QString identifier = m_recording;
    stopRecording();
    QString refusal = combo->modifierRefusal();
    if (refusal.isEmpty())
        refusal = ShortcutStore::shared().set(*combo, identifier);
    showRefusal(refusal);
}

bool ShortcutSettingsPage::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_list)
        return QWidget::eventFilter(watched, event);
    const bool recording = !m_recording.isEmpty();
    switch (event->type()) {
    case QEvent::ShortcutOverride:
        // While recording every key is for us, not for the window's shortcuts.
        if (recording) {
            event->accept();
            return true;
        }
        break;
    case QEvent::KeyPress: {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (recording) {
            record(*key);
            return true;
        }
        if ((key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) &&
            key->modifiers() == Qt::NoModifier) {
            startRecording(m_list->currentItem());
            return true;
        }
        break;
    }
    case QEvent::FocusOut:
        stopRecording();
        break;
    default:
        break;
    }
    return QWidget::eventFilter(watched, event);
}

void ShortcutSettingsPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    refresh(); // items appear with the first window's menus
}

void ShortcutSettingsPage::updateButtons()
{
    const QString identifier = selectedIdentifier();
    ShortcutStore& store = ShortcutStore::shared();
    const KeyCombo combo = store.combo(identifier);
    m_remove->setEnabled(!identifier.isEmpty() && !combo.isEmpty());
    m_reset->setEnabled(!identifier.isEmpty() && combo != store.defaultCombo(identifier));
    m_resetAll->setEnabled(!store.overrides().isEmpty());
}

QString ShortcutSettingsPage::selectedIdentifier() const
{
    return identifierOf(m_list->currentItem());
}

void ShortcutSettingsPage::showRefusal(const QString& text)
{
    m_refusal->setText(text);
}
