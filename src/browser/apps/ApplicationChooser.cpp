#include "browser/apps/ApplicationChooser.h"

#include <QCoreApplication>
#include <QDialogButtonBox>
#include <QIcon>
#include <QKeyEvent>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

namespace {

QIcon iconFor(const QString& icon)
{
    if (icon.startsWith(u'/'))
        return QIcon(icon);
    return QIcon::fromTheme(icon, QIcon::fromTheme(QStringLiteral("application-x-executable")));
}

} // namespace

ApplicationChooser::ApplicationChooser(std::vector<DesktopApps::Application> applications,
                                       const QString& title, QWidget* parent)
    : QDialog(parent)
    , m_applications(std::move(applications))
{
    setObjectName(QStringLiteral("applicationChooser"));
    setWindowTitle(title);
    m_search = new QLineEdit(this);
    m_search->setPlaceholderText(QStringLiteral("名前で絞り込む"));
    m_search->installEventFilter(this);
    m_results = new QListWidget(this);
    m_results->setUniformItemSizes(true);
    for (const DesktopApps::Application& app : m_applications) {
        auto* row = new QListWidgetItem(iconFor(app.icon), app.name, m_results);
        row->setData(Qt::UserRole, app.id);
        row->setToolTip(app.id);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("選択"));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("キャンセル"));
    connect(buttons, &QDialogButtonBox::accepted, this, &ApplicationChooser::pick);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(m_results, &QListWidget::itemActivated, this, &ApplicationChooser::pick);
    connect(m_search, &QLineEdit::textChanged, this, &ApplicationChooser::filter);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_search);
    layout->addWidget(m_results);
    layout->addWidget(buttons);
    filter({});
    setWindowModality(Qt::WindowModal);
    resize(420, 480);
}

ApplicationChooser* ApplicationChooser::choose(QWidget* parent, const QString& title,
                                               std::vector<DesktopApps::Application> applications,
                                               std::function<void(const QString&)> chosen)
{
    auto* dialog = new ApplicationChooser(std::move(applications), title, parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &ApplicationChooser::applicationChosen, dialog, std::move(chosen));
    dialog->open();
    dialog->m_search->setFocus();
    return dialog;
}

bool ApplicationChooser::matches(const DesktopApps::Application& app, const QString& query)
{
    const QString wanted = query.trimmed();
    return app.name.contains(wanted, Qt::CaseInsensitive) ||
           app.id.contains(wanted, Qt::CaseInsensitive);
}

void ApplicationChooser::filter(const QString& text)
{
    QListWidgetItem* first = nullptr;
    for (int row = 0; row < m_results->count(); ++row) {
        QListWidgetItem* item = m_results->item(row);
        const bool shown = matches(m_applications[size_t(row)], text);
        item->setHidden(!shown);
        if (shown && !first)
            first = item;
    }
    QListWidgetItem* current = m_results->currentItem();
    if (!current || current->isHidden())
        m_results->setCurrentItem(first);
}

void ApplicationChooser::pick()
{
    QListWidgetItem* chosen = m_results->currentItem();
    // Nothing matches the search: Return does nothing rather than pick a hidden row.
    if (!chosen || chosen->isHidden())
        return;
    const QString id = chosen->data(Qt::UserRole).toString();
    accept();
    Q_EMIT applicationChosen(id);
}

// The search field keeps the focus; the arrows walk the list beneath it.
bool ApplicationChooser::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_search && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Up || key == Qt::Key_Down || key == Qt::Key_PageUp ||
            key == Qt::Key_PageDown) {
            QCoreApplication::sendEvent(m_results, event);
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}
