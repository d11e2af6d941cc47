#include "browser/operations/OperationsPanel.h"

#include "operations/FileOperation.h"
#include "operations/OperationsStore.h"

#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QScreen>
#include <QStyle>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// Distance from the edges of the window it sits on.
constexpr int kMargin = 16;

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
    connect(&store, &OperationsStore::hideRequested, this, [this] {
        m_wanted = false;
        hide();
    });
    // Dialogs of every window, to step out of their way.
    qApp->installEventFilter(this);
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
    m_wanted = true;
    place();
}

bool OperationsPanel::eventFilter(QObject* watched, QEvent* event)
{
    if (m_wanted && (event->type() == QEvent::Show || event->type() == QEvent::Hide)) {
        auto* dialog = qobject_cast<QDialog*>(watched);
        // After the event, so a closing dialog no longer counts as shown.
        if (dialog && dialog->isWindow())
            QTimer::singleShot(0, this, &OperationsPanel::place);
    }
    return QWidget::eventFilter(watched, event);
}

std::optional<QPoint> OperationsPanel::placement(QSize size, const QRect& area, const QRect& screen,
                                                 const std::vector<QRect>& dialogs)
{
    std::vector<QPoint> corners;
    for (const QRect& r :
         {area.marginsRemoved(QMargins(kMargin, kMargin, kMargin, kMargin)), screen}) {
        const int right = r.right() + 1 - size.width();
        const int bottom = r.bottom() + 1 - size.height();
        corners.insert(
            corners.end(),
            {{right, bottom}, {r.left(), bottom}, {right, r.top()}, {r.left(), r.top()}});
    }
    for (const QPoint& corner : corners) {
        const QRect panel(corner, size);
        if (std::none_of(dialogs.begin(), dialogs.end(),
                         [&](const QRect& dialog) { return dialog.intersects(panel); }))
            return corner;
    }
    return std::nullopt;
}

void OperationsPanel::place()
{
    if (!m_wanted)
        return;
    std::vector<QRect> dialogs;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window != this && window->isVisible() && qobject_cast<QDialog*>(window))
            dialogs.push_back(window->frameGeometry());
    }
    QWidget* anchor = m_anchor ? m_anchor() : nullptr;
    const QScreen* screen = anchor ? anchor->screen() : QGuiApplication::primaryScreen();
    const QRect available = screen ? screen->availableGeometry() : QRect();
    const QSize frame = frameGeometry().size().expandedTo(size());
    const auto corner =
        placement(frame, anchor ? anchor->frameGeometry() : available, available, dialogs);
    if (!corner) {
        hide();
        return;
    }
    move(*corner);
    show();
    raise();
}
