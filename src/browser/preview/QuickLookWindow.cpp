#include "browser/preview/QuickLookWindow.h"

#include "browser/pane/PaneView.h"
#include "browser/preview/PanePreview.h"
#include "browser/preview/PreviewWidget.h"
#include "browser/window/BrowserWindow.h"

#include <QKeyEvent>
#include <QVBoxLayout>

namespace fs = std::filesystem;

namespace {
// Share of the browser window's width and height.
constexpr double kShare = 0.6;
} // namespace

QuickLookWindow::QuickLookWindow(BrowserWindow& owner)
    : QWidget(&owner, Qt::Tool | Qt::WindowDoesNotAcceptFocus)
    , m_owner(owner)
{
    // The list keeps the keys while this window is up.
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    m_preview = new PreviewWidget(this);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_preview);
    setWindowTitle(QStringLiteral("クイックルック"));
    connect(&owner, &BrowserWindow::activePaneChanged, this, [this] {
        if (isOpen()) {
            bindActivePane();
            follow();
        }
    });
}

QuickLookWindow::~QuickLookWindow() = default;

void QuickLookWindow::open()
{
    bindActivePane();
    place();
    show();
    follow();
}

void QuickLookWindow::toggle()
{
    if (isOpen())
        close();
    else
        open();
}

void QuickLookWindow::hideEvent(QHideEvent* event)
{
    QWidget::hideEvent(event);
    unbind();
    // Closed, it holds no page, image or player.
    m_preview->showPlaceholder();
}

void QuickLookWindow::bindActivePane()
{
    PaneView* pane = m_owner.activePane();
    if (pane == m_pane)
        return;
    unbind();
    m_pane = pane;
    if (!pane)
        return;
    pane->listView()->installEventFilter(this);
    connect(pane->listView()->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &QuickLookWindow::follow);
    connect(pane, &PaneView::locationChanged, this, &QuickLookWindow::follow);
}

void QuickLookWindow::unbind()
{
    if (m_pane) {
        m_pane->listView()->removeEventFilter(this);
        disconnect(m_pane->listView()->selectionModel(), nullptr, this, nullptr);
        disconnect(m_pane, nullptr, this, nullptr);
    }
    m_pane = nullptr;
}

void QuickLookWindow::follow()
{
    if (!m_pane || !isOpen())
        return;
    const std::optional<fs::path> file = PanePreview::selectedFile(*m_pane);
    const QModelIndex current = m_pane->listView()->currentIndex();
    const bool named = current.isValid() && m_pane->listView()->selectionModel()->hasSelection();
    setWindowTitle(named ? current.siblingAtColumn(0).data().toString()
                         : QStringLiteral("クイックルック"));
    m_preview->follow(file);
}

void QuickLookWindow::place()
{
    const QRect over = m_owner.geometry();
    resize(int(over.width() * kShare), int(over.height() * kShare));
    move(over.center() - QPoint(width() / 2, height() / 2));
}

bool QuickLookWindow::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::KeyPress && m_pane && watched == m_pane->listView()) {
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Escape && key->modifiers() == Qt::NoModifier) {
            close();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
