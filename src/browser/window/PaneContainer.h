#pragma once

#include "files/PaneLayout.h"

#include <QPointer>
#include <QWidget>
#include <vector>

class PaneSplitter;
class PaneView;
class WindowModel;

// The panes of one tab, arranged by nested splitters. Builds itself from a
// PaneLayout and gives one back; splits, closes, swaps and moves the focus.
class PaneContainer : public QWidget {
    Q_OBJECT
public:
    explicit PaneContainer(const PaneLayout& layout, QWidget* parent = nullptr);
    ~PaneContainer() override;

    PaneView* activePane() const { return m_active; }
    void setActivePane(PaneView* pane);
    // Reading order: depth first, children in order.
    std::vector<PaneView*> panes() const;
    // The next pane after the active one, cycling; null with one pane.
    PaneView* otherPane() const;
    WindowModel& windowModel() const { return *m_windowModel; }

    PaneTreeLayout tree() const;
    PaneLayout layout() const;

    // Qt::Horizontal puts the new pane to the right, Qt::Vertical below.
    void split(Qt::Orientation orientation);
    void toggleSplit();
    void closeActivePane();
    void switchPane();
    void swapPanes();
    void syncOtherPane();

Q_SIGNALS:
    void activePaneChanged(PaneView* pane);
    // The active pane moved to another location.
    void activeLocationChanged();

private:
    QWidget* build(const PaneTreeLayout& tree);
    PaneView* makePane(const QString& locationText);
    PaneTreeLayout treeOf(QWidget* widget) const;
    void collectPanes(QWidget* widget, std::vector<PaneView*>& out) const;
    void replaceInParent(QWidget* old, QWidget* replacement);
    void setRoot(QWidget* root);
    void updateSplitFlags();
    void focusChanged(QWidget* now);

    QWidget* m_root = nullptr;
    QPointer<PaneView> m_active;
    WindowModel* m_windowModel = nullptr;
};
