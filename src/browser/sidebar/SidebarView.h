#pragma once

#include "core/Location.h"

#include <QSet>
#include <QTreeView>
#include <filesystem>
#include <functional>

class PaneView;
class QMimeData;
class SidebarModel;
class SidebarStore;
class TagStore;
struct SidebarItem;

// The sidebar of a browser window: the sections of the sidebar store as an
// outline. A click (or Return) on a row opens it in the active pane; Escape
// hands the focus back to that pane. Menus and name prompts live here, never in
// the model. Expansion survives every change of the stores; the tags people
// collapse are remembered under "sidebarCollapsedTags".
class SidebarView : public QTreeView {
    Q_OBJECT
public:
    using PaneSource = std::function<PaneView*()>;

    SidebarView(SidebarStore& store, TagStore& tags, PaneSource activePane,
                QWidget* parent = nullptr);

    SidebarModel* sidebarModel() const { return m_model; }
    // Opens the row's location in the active pane (a missing folder only says so).
    void open(const QModelIndex& index);
    // Marks the row of the location the active pane shows, without opening it.
    void showLocation(const Location& location);
    // The rectangle of the eject button of a volume row, in viewport coordinates.
    QRect ejectRect(const QModelIndex& index) const;
    PaneView* activePane() const { return m_activePane ? m_activePane() : nullptr; }
    // The pane's selected folders, or its folder when none is selected, into the
    // favourites; a folder there already stays where it is.
    static void addToFavorites(const PaneView& pane, SidebarStore& store);
    // Unmounts the volume; a failure is told in this window.
    void eject(const SidebarItem& volume);

Q_SIGNALS:
    void openInNewTabRequested(const Location& location);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void changeEvent(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;

private:
    void rememberState();
    void restoreState();
    void applyExpansion(const QModelIndex& parent);
    void rowExpansionChanged(const QModelIndex& index, bool expanded);
    void showMissing(const QModelIndex& index);
    void openTagged(const std::filesystem::path& path);
    void showMenu(const QModelIndex& index, const QPoint& globalPos);
    void filesDropped(const QMimeData& data, const std::filesystem::path& folder,
                      Qt::DropAction action);
    bool isEmphasized() const;

    SidebarModel* m_model = nullptr;
    PaneSource m_activePane;
    QSet<QString> m_collapsed; // keys of rows folded by hand
    QString m_currentKey;      // restored after a rebuild
    bool m_applyingExpansion = false;
    bool m_awaitingEject = false;
    QPersistentModelIndex m_pressedEject;
};
