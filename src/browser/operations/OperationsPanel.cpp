#include "browser/operations/OperationsPanel.h"

#include "operations/FileOperation.h"
#include "operations/OperationsStore.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// One operation: title and cancel button, progress bar, detail line.
QWidget* makeRow(FileOperation* operation, QWidget* parent)
{
    auto* row = new QWidget(parent);
    auto* box = new QVBoxLayout(row);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(4);
    auto* top = new QHBoxLayout;
    auto* title = new QLabel(operation->title(), row);
    auto* cancel = new QToolButton(row);
    cancel->setIcon(row->style()->standardIcon(QStyle::SP_DialogCancelButton));
    cancel->setToolTip(QStringLiteral("中止"));
    cancel->setAutoRaise(true);
    cancel->setFocusPolicy(Qt::NoFocus);
    top->addWidget(title, 1);
    top->addWidget(cancel);
    auto* bar = new QProgressBar(row);
    bar->setTextVisible(false);
    auto* detail = new QLabel(row);
    detail->setTextFormat(Qt::PlainText);
    box->addLayout(top);
    box->addWidget(bar);
    box->addWidget(detail);
    auto update = [operation, bar, detail] {
        const auto fraction = operation->fraction();
        bar->setRange(0, fraction ? 1000 : 0); // 0..0 is Qt's indeterminate bar
        if (fraction)
            bar->setValue(int(*fraction * 1000));
        detail->setText(detail->fontMetrics().elidedText(operation->detail(), Qt::ElideMiddle,
                                                         std::max(200, detail->width())));
    };
    QObject::connect(operation, &FileOperation::changed, row, update);
    QObject::connect(cancel, &QToolButton::clicked, row,
                     [operation] { operation->progress().cancel(); });
    update();
    return row;
}

} // namespace

OperationsPanel::OperationsPanel(OperationsStore& store, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus)
    , m_store(store)
{
    setWindowTitle(QStringLiteral("ファイル操作"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    m_rowsLayout = new QVBoxLayout(this);
    m_rowsLayout->setContentsMargins(12, 12, 12, 12);
    m_rowsLayout->setSpacing(12);
    m_emptyLabel = new QLabel(QStringLiteral("実行中の操作はありません"), this);
    m_rowsLayout->addWidget(m_emptyLabel);
    resize(400, 90);
    for (FileOperation* operation : store.operations())
        addRow(operation);
    connect(&store, &OperationsStore::operationAdded, this, &OperationsPanel::addRow);
    connect(&store, &OperationsStore::operationRemoved, this, &OperationsPanel::removeRow);
    connect(&store, &OperationsStore::showRequested, this, &OperationsPanel::showWithoutFocus);
    connect(&store, &OperationsStore::hideRequested, this, &QWidget::hide);
}

void OperationsPanel::addRow(FileOperation* operation)
{
    QWidget* row = makeRow(operation, this);
    m_rows.emplace(operation, row);
    m_rowsLayout->addWidget(row);
    updateEmptyText();
}

void OperationsPanel::removeRow(FileOperation* operation)
{
    const auto found = m_rows.find(operation);
    if (found == m_rows.end())
        return;
    found->second->deleteLater();
    m_rows.erase(found);
    updateEmptyText();
    adjustSize();
}

void OperationsPanel::updateEmptyText()
{
    m_emptyLabel->setVisible(m_rows.empty());
}

void OperationsPanel::showWithoutFocus()
{
    if (!isVisible()) {
        if (const QScreen* screen = QGuiApplication::primaryScreen())
            move(screen->availableGeometry().center() - rect().center());
    }
    show();
    raise();
}
