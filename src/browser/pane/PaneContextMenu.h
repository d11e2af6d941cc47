#pragma once

#include <QObject>

class PaneView;
class QMenu;
class QPoint;

// The list's context menu: the window's own menu items that apply to what was
// clicked (the selection, or the shown folder on an empty spot), so that titles,
// shortcuts and rules are the menu bar's. Opens by right click, the Menu key or
// Shift+F10.
class PaneContextMenu : public QObject {
    Q_OBJECT
public:
    explicit PaneContextMenu(PaneView& pane);

private:
    void open(const QPoint& at);
    void addOpenWith(QMenu& menu);

    PaneView& m_pane;
};
