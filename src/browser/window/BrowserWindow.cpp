#include "browser/window/BrowserWindow.h"

#include "browser/menus/BrowserMenus.h"
#include "browser/palette/PalettePanel.h"
#include "browser/pane/PaneView.h"
#include "browser/preview/PanePreview.h"
#include "browser/preview/QuickLookWindow.h"
#include "browser/sidebar/SidebarView.h"
#include "browser/window/PaneContainer.h"
#include "core/AppDefaults.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/PaneState.h"
#include "files/WindowModel.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QSplitter>
#include <QStackedWidget>
#include <QTabBar>
#include <QToolBar>
#include <QVBoxLayout>

namespace {
const QString kSidebarVisibleKey = QStringLiteral("sidebarVisible");
constexpr int kSidebarWidth = 210;
} // namespace

BrowserWindow::BrowserWindow(const PaneLayout& firstTab, QWidget* parent)
    : QMainWindow(parent)
{
    setAttribute(Qt::WA_DeleteOnClose);
    m_split = new QSplitter(Qt::Horizontal, this);
    m_split->setChildrenCollapsible(false);
    m_sidebar = new SidebarView(
        SidebarStore::shared(), TagStore::shared(), [this] { return activePane(); }, m_split);
    connect(m_sidebar, &SidebarView::openInNewTabRequested, this, &BrowserWindow::newTab);
    auto* central = new QWidget(m_split);
    auto* box = new QVBoxLayout(central);
    box->setContentsMargins(0, 0, 0, 0);
    box->setSpacing(0);
    m_tabs = new QTabBar(central);
    m_tabs->setDocumentMode(true);
    m_tabs->setExpanding(false);
    m_tabs->setTabsClosable(true);
    m_tabs->setMovable(true);
    m_tabs->setFocusPolicy(Qt::NoFocus);
    m_stack = new QStackedWidget(central);
    box->addWidget(m_tabs);
    box->addWidget(m_stack, 1);
    m_split->addWidget(m_sidebar);
    m_split->addWidget(central);
    m_split->setStretchFactor(1, 1);
    m_split->setSizes({kSidebarWidth, 1100 - kSidebarWidth});
    setCentralWidget(m_split);
    applySidebarVisibility();
    buildToolBar();
    BrowserMenus::build(*this);
    connect(m_tabs, &QTabBar::currentChanged, this, &BrowserWindow::currentTabChanged);
    connect(m_tabs, &QTabBar::tabCloseRequested, this, [this](int index) {
        m_tabs->setCurrentIndex(index);
        closeCurrentTab();
    });
    connect(m_tabs, &QTabBar::tabMoved, this, [this](int from, int to) {
        QWidget* moved = m_stack->widget(from);
        m_stack->removeWidget(moved);
        m_stack->insertWidget(to, moved);
        m_stack->setCurrentIndex(m_tabs->currentIndex());
    });
    addTab(firstTab);
    resize(1100, 700);
}

void BrowserWindow::buildToolBar()
{
    QToolBar* bar = addToolBar(QStringLiteral("ツールバー"));
    bar->setMovable(false);
    bar->setFocusPolicy(Qt::NoFocus);
    m_back =
        bar->addAction(QIcon::fromTheme(QStringLiteral("go-previous")), QStringLiteral("戻る"));
    m_forward = bar->addAction(QIcon::fromTheme(QStringLiteral("go-next")), QStringLiteral("進む"));
    m_parent =
        bar->addAction(QIcon::fromTheme(QStringLiteral("go-up")), QStringLiteral("親フォルダ"));
    connect(m_back, &QAction::triggered, this, [this] { withActivePane(&PaneView::goBack); });
    connect(m_forward, &QAction::triggered, this, [this] { withActivePane(&PaneView::goForward); });
    connect(m_parent, &QAction::triggered, this, [this] { withActivePane(&PaneView::goToParent); });
}

PaneContainer* BrowserWindow::currentContainer() const
{
    return static_cast<PaneContainer*>(m_stack->currentWidget());
}

PaneView* BrowserWindow::activePane() const
{
    PaneContainer* container = currentContainer();
    return container ? container->activePane() : nullptr;
}

int BrowserWindow::tabCount() const
{
    return m_tabs->count();
}

PaneContainer* BrowserWindow::containerAt(int index) const
{
    return static_cast<PaneContainer*>(m_stack->widget(index));
}

int BrowserWindow::currentTabIndex() const
{
    return m_tabs->currentIndex();
}

void BrowserWindow::setCurrentTabIndex(int index)
{
    if (index >= 0 && index < m_tabs->count())
        m_tabs->setCurrentIndex(index);
}

std::vector<PaneLayout> BrowserWindow::tabLayouts() const
{
    std::vector<PaneLayout> layouts;
    for (int i = 0; i < m_stack->count(); ++i)
        layouts.push_back(containerAt(i)->layout());
    return layouts;
}

void BrowserWindow::withActivePane(void (PaneView::*action)())
{
    if (PaneView* pane = activePane())
        (pane->*action)();
}

void BrowserWindow::addTab(const PaneLayout& layout)
{
    auto* container = new PaneContainer(layout, m_stack);
    const int index = m_stack->currentIndex() + 1;
    m_stack->insertWidget(index, container);
    m_tabs->insertTab(index, QString());
    connect(container, &PaneContainer::activePaneChanged, this, [this, container] {
        if (container == currentContainer())
            watchActivePane();
        updateTitleAndActions();
    });
    connect(container, &PaneContainer::activeLocationChanged, this,
            &BrowserWindow::updateTitleAndActions);
    m_tabs->setCurrentIndex(index);
    currentTabChanged(index);
    container->activePane()->focusList();
}

void BrowserWindow::newTab(const Location& location)
{
    addTab(PaneLayout::onePane(location.toText()));
}

void BrowserWindow::closeCurrentTab()
{
    if (m_tabs->count() <= 1) {
        close();
        return;
    }
    const int index = m_tabs->currentIndex();
    PaneContainer* container = containerAt(index);
    const Location closed = container->activePane()->location();
    m_stack->removeWidget(container);
    container->deleteLater();
    m_tabs->removeTab(index);
    currentTabChanged(m_tabs->currentIndex());
    Q_EMIT tabClosed(closed);
}

void BrowserWindow::closeEvent(QCloseEvent* event)
{
    QMainWindow::closeEvent(event);
    if (event->isAccepted())
        Q_EMIT closing();
}

void BrowserWindow::currentTabChanged(int index)
{
    if (index < 0 || index >= m_stack->count())
        return;
    m_stack->setCurrentIndex(index);
    watchActivePane();
    updateTitleAndActions();
    if (PaneView* pane = activePane())
        pane->focusList();
}

void BrowserWindow::watchActivePane()
{
    if (m_watchedState)
        disconnect(m_watchedState, nullptr, this, nullptr);
    PaneView* pane = activePane();
    m_watchedState = pane ? &pane->state() : nullptr;
    if (m_watchedState)
        connect(m_watchedState, &PaneState::historyChanged, this,
                &BrowserWindow::updateTitleAndActions);
    Q_EMIT activePaneChanged();
}

void BrowserWindow::updateTitleAndActions()
{
    for (int i = 0; i < m_stack->count(); ++i) {
        auto* container = static_cast<PaneContainer*>(m_stack->widget(i));
        m_tabs->setTabText(i, container->activePane()->location().displayName());
    }
    PaneView* pane = activePane();
    if (!pane)
        return;
    setWindowTitle(pane->location().displayName());
    m_sidebar->showLocation(pane->location());
    m_back->setEnabled(pane->state().history().canGoBack());
    m_forward->setEnabled(pane->state().history().canGoForward());
    m_parent->setEnabled(pane->canGoToParent());
}

void BrowserWindow::goHome()
{
    if (PaneView* pane = activePane())
        pane->navigate(Location::folder(PathText::homeFolder()));
}

bool BrowserWindow::isSidebarVisible() const
{
    return m_sidebar->isVisibleTo(this);
}

void BrowserWindow::toggleSidebar()
{
    const bool visible = !isSidebarVisible();
    AppDefaults::store().setValue(kSidebarVisibleKey, visible);
    for (QWidget* top : QApplication::topLevelWidgets()) {
        if (auto* window = qobject_cast<BrowserWindow*>(top))
            window->applySidebarVisibility();
    }
    // Shown from the keyboard, the sidebar is where the keys go next (Escape leaves).
    if (visible)
        m_sidebar->setFocus(Qt::ShortcutFocusReason);
}

void BrowserWindow::applySidebarVisibility()
{
    const bool visible = Preferences::boolValue(kSidebarVisibleKey, true);
    if (visible == isSidebarVisible())
        return;
    const bool hadFocus = m_sidebar->hasFocus();
    m_sidebar->setVisible(visible);
    if (hadFocus)
        withActivePane(&PaneView::focusList); // the keys must not go nowhere
}

PalettePanel* BrowserWindow::palette()
{
    if (!m_palette)
        m_palette = new PalettePanel(*this);
    return m_palette;
}

void BrowserWindow::togglePalette()
{
    if (palette()->isOpen())
        palette()->close();
    else
        palette()->open();
}

QuickLookWindow* BrowserWindow::quickLook()
{
    if (!m_quickLook)
        m_quickLook = new QuickLookWindow(*this);
    return m_quickLook;
}

bool BrowserWindow::isQuickLookOpen() const
{
    return m_quickLook && m_quickLook->isOpen();
}

void BrowserWindow::toggleQuickLook()
{
    quickLook()->toggle();
}

bool BrowserWindow::showsPreview() const
{
    if (isQuickLookOpen())
        return true;
    PaneContainer* container = currentContainer();
    if (!container)
        return false;
    const std::vector<PaneView*> panes = container->panes();
    return std::any_of(panes.begin(), panes.end(),
                       [](const PaneView* pane) { return pane->preview()->isShown(); });
}
