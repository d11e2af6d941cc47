#pragma once

#include <QTreeView>

// What the list's own keys act on; the pane implements it.
class ListKeyTarget {
public:
    virtual ~ListKeyTarget() = default;
    virtual bool isFilterOpen() const = 0;
    virtual void beginFilter() = 0;
    virtual void endFilter(bool focusList) = 0;
    virtual void openSelection() = 0;
    virtual void goToParent() = 0;
    virtual void switchPane() = 0;
};

// The list of a pane. Handles Return, Tab, "/", Escape and, when switched on,
// the vi-style keys h j k l gg G before the tree view's own keys.
class FileTreeView : public QTreeView {
    Q_OBJECT
public:
    FileTreeView(ListKeyTarget& target, QWidget* parent = nullptr);

    // Returns whether the key was handled here.
    bool handleListKey(QKeyEvent* event);
    // Selects exactly one visible row (clamped) and scrolls it into view.
    void selectRow(int row);
    void collapseOrGoUp();
    int visibleRowCount() const;
    bool isPendingG() const { return m_pendingG; }

protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool focusNextPrevChild(bool next) override;

private:
    QModelIndex visibleIndex(int row) const;
    int visibleRowOf(const QModelIndex& index) const;
    int lastSelectedRow() const;
    int uniformRowHeight() const;
    bool handleVimKey(const QString& text);

    ListKeyTarget& m_target;
    bool m_pendingG = false;
};
