#include "browser/window/PaneContainer.h"

#include "browser/pane/PaneView.h"
#include "browser/window/PaneSplitter.h"
#include "core/Location.h"
#include "files/PaneState.h"
#include "files/WindowModel.h"

#include <QApplication>
#include <QVBoxLayout>

PaneContainer::PaneContainer(const PaneLayout& layout, QWidget* parent)
    : QWidget(parent)
{
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(0, 0, 0, 0);
    setRoot(build(layout.resolvedTree()));
    const std::vector<PaneView*> all = panes();
    const int index = layout.activeIndex >= 0 && layout.activeIndex < int(all.size())
                          ? layout.activeIndex
                          : 0; // an index outside the panes falls back to the first
    m_windowModel = new WindowModel(&all[size_t(index)]->state(), this);
    setActivePane(all[size_t(index)]);
    updateSplitFlags();
    connect(qApp, &QApplication::focusChanged, this,
            [this](QWidget*, QWidget* now) { focusChanged(now); });
}

PaneContainer::~PaneContainer() = default;

PaneView* PaneContainer::makePane(const QString& locationText)
{
    auto* pane = new PaneView(Location::fromText(locationText));
    connect(pane, &PaneView::switchPaneRequested, this, &PaneContainer::switchPane);
    connect(pane, &PaneView::locationChanged, this, [this, pane] {
        if (pane == m_active)
            Q_EMIT activeLocationChanged();
    });
    return pane;
}

QWidget* PaneContainer::build(const PaneTreeLayout& tree)
{
    if (tree.isPane())
        return makePane(tree.path);
    auto* splitter = new PaneSplitter(tree.vertical ? Qt::Horizontal : Qt::Vertical);
    for (const PaneTreeLayout& child : tree.children)
        splitter->addWidget(build(child));
    if (tree.fractions && tree.fractions->size() == tree.children.size())
        splitter->applyFractions(*tree.fractions);
    else
        splitter->equalize();
    return splitter;
}

void PaneContainer::setRoot(QWidget* root)
{
    m_root = root;
    m_root->setParent(this);
    static_cast<QVBoxLayout*>(QWidget::layout())->addWidget(m_root);
    m_root->show();
}

void PaneContainer::collectPanes(QWidget* widget, std::vector<PaneView*>& out) const
{
    if (auto* pane = qobject_cast<PaneView*>(widget)) {
        out.push_back(pane);
        return;
    }
    if (auto* splitter = qobject_cast<PaneSplitter*>(widget)) {
        for (int i = 0; i < splitter->count(); ++i)
            collectPanes(splitter->widget(i), out);
    }
}

std::vector<PaneView*> PaneContainer::panes() const
{
    std::vector<PaneView*> out;
    collectPanes(m_root, out);
    return out;
}

PaneView* PaneContainer::otherPane() const
{
    const std::vector<PaneView*> all = panes();
    if (all.size() < 2)
        return nullptr;
    const auto it = std::find(all.begin(), all.end(), m_active.data());
    const size_t index = it == all.end() ? 0 : size_t(it - all.begin());
    return all[(index + 1) % all.size()];
}

void PaneContainer::setActivePane(PaneView* pane)
{
    if (!pane)
        return;
    const bool changed = pane != m_active;
    m_active = pane;
    for (PaneView* each : panes())
        each->state().setActive(each == pane);
    m_windowModel->setActivePane(&pane->state());
    if (changed)
        Q_EMIT activePaneChanged(pane);
}

void PaneContainer::focusChanged(QWidget* now)
{
    for (QWidget* w = now; w; w = w->parentWidget()) {
        if (auto* pane = qobject_cast<PaneView*>(w)) {
            if (w->parentWidget() && isAncestorOf(pane))
                setActivePane(pane);
            return;
        }
    }
}

PaneTreeLayout PaneContainer::treeOf(QWidget* widget) const
{
    if (auto* pane = qobject_cast<PaneView*>(widget))
        return PaneTreeLayout::pane(pane->location().toText());
    auto* splitter = static_cast<PaneSplitter*>(widget);
    std::vector<PaneTreeLayout> children;
    for (int i = 0; i < splitter->count(); ++i)
        children.push_back(treeOf(splitter->widget(i)));
    return PaneTreeLayout::group(splitter->orientation() == Qt::Horizontal, std::move(children),
                                 splitter->fractions());
}

PaneTreeLayout PaneContainer::tree() const
{
    return treeOf(m_root);
}

PaneLayout PaneContainer::layout() const
{
    PaneLayout layout;
    layout.tree = tree();
    layout.paths = layout.tree->paths();
    const std::vector<PaneView*> all = panes();
    const auto it = std::find(all.begin(), all.end(), m_active.data());
    layout.activeIndex = it == all.end() ? 0 : int(it - all.begin());
    return layout;
}

void PaneContainer::replaceInParent(QWidget* old, QWidget* replacement)
{
    if (old == m_root) {
        QWidget::layout()->removeWidget(old);
        setRoot(replacement);
        return;
    }
    auto* splitter = static_cast<PaneSplitter*>(old->parentWidget());
    const QList<int> sizes = splitter->sizes();
    splitter->replaceWidget(splitter->indexOf(old), replacement);
    splitter->setSizes(sizes);
}

void PaneContainer::split(Qt::Orientation orientation)
{
    PaneView* active = m_active;
    PaneView* added = makePane(active->location().toText());
    auto* parentSplitter = qobject_cast<PaneSplitter*>(active->parentWidget());
    if (parentSplitter && parentSplitter->orientation() == orientation) {
        parentSplitter->insertWidget(parentSplitter->indexOf(active) + 1, added);
        parentSplitter->equalize();
    } else {
        auto* splitter = new PaneSplitter(orientation);
        replaceInParent(active, splitter);
        splitter->addWidget(active);
        splitter->addWidget(added);
        splitter->equalize();
    }
    updateSplitFlags();
    added->focusList();
    setActivePane(added);
}

void PaneContainer::toggleSplit()
{
    if (panes().size() == 1) {
        split(Qt::Horizontal);
        return;
    }
    // Back to one pane: the active pane stays with its history and listing.
    PaneView* keep = m_active;
    QWidget* oldRoot = m_root;
    keep->setParent(nullptr);
    QWidget::layout()->removeWidget(oldRoot);
    setRoot(keep);
    oldRoot->deleteLater();
    updateSplitFlags();
    keep->focusList();
}

void PaneContainer::closeActivePane()
{
    const std::vector<PaneView*> all = panes();
    if (all.size() < 2)
        return;
    PaneView* closing = m_active;
    const auto it = std::find(all.begin(), all.end(), closing);
    PaneView* next = it == all.begin() ? all[1] : *(it - 1);
    auto* splitter = static_cast<PaneSplitter*>(closing->parentWidget());
    closing->hide();
    closing->setParent(nullptr);
    closing->deleteLater();
    if (splitter->count() == 1) {
        // A split with one child left disappears; the child takes its place.
        QWidget* survivor = splitter->widget(0);
        replaceInParent(splitter, survivor);
        splitter->deleteLater();
    }
    updateSplitFlags();
    setActivePane(next);
    next->focusList();
}

void PaneContainer::switchPane()
{
    if (PaneView* next = otherPane()) {
        setActivePane(next);
        next->focusList();
    }
}

void PaneContainer::swapPanes()
{
    PaneView* other = otherPane();
    if (!other)
        return;
    const Location here = m_active->location();
    m_active->navigate(other->location());
    other->navigate(here);
}

void PaneContainer::syncOtherPane()
{
    if (PaneView* other = otherPane())
        other->navigate(m_active->location());
}

void PaneContainer::updateSplitFlags()
{
    const std::vector<PaneView*> all = panes();
    for (PaneView* pane : all)
        pane->state().setInSplit(all.size() > 1);
}
