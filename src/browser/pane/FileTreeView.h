#pragma once

#include "core/FileSort.h"

#include <QElapsedTimer>
#include <QTreeView>
#include <vector>

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
    virtual void toggleQuickLook() {}
};

// The list of a pane. Handles Return, Tab, "/", Escape, Space (Quick Look, unless it
// continues a type-ahead search) and, when switched on, the vi-style keys h j k l
// gg G before the tree view's own keys. A selected row is one rounded fill in the
// accent colour (the palette's Highlight), strong while the list has focus in the
// active window and pale otherwise. The name column takes
// the width the other columns leave; they keep the widths last set (by the user or
// setColumnWidth) while there is room, and narrow towards their minimums when not.
class FileTreeView : public QTreeView {
    Q_OBJECT
public:
    FileTreeView(ListKeyTarget& target, QWidget* parent = nullptr);

    // Returns whether the key was handled here.
    bool handleListKey(QKeyEvent* event);
    // Selects exactly one visible row (clamped) and scrolls it into view.
    void selectRow(int row);
    // The header's arrow on the sorted column, pointing the sort's way.
    void showSort(const FileSort& sort);
    void collapseOrGoUp();
    int visibleRowCount() const;
    bool isPendingG() const { return m_pendingG; }
    // A type-ahead search was typed within the keyboard input interval.
    bool isTypingAhead() const;
    void keyboardSearch(const QString& search) override;

    // The list has focus in the active window: selections get the strong fill.
    bool isEmphasized() const;
    QColor selectionFill() const;
    // For the list's delegates: a cell draws no selection or focus frame of its own,
    // and its text takes the colour that reads on the row's fill.
    static void prepareCell(QStyleOptionViewItem& option);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option,
                 const QModelIndex& index) const override;

private:
    QModelIndex visibleIndex(int row) const;
    int visibleRowOf(const QModelIndex& index) const;
    int lastSelectedRow() const;
    int uniformRowHeight() const;
    bool handleVimKey(const QString& text);
    void columnResized(int column, int oldWidth, int newWidth);
    // Lays the columns out in the viewport's width; `pinned` narrows last.
    void fitColumns(int pinned = -1);

    ListKeyTarget& m_target;
    bool m_pendingG = false;
    std::vector<int> m_columnWidths; // wanted widths by column; the name's is unused
    bool m_fitting = false;
    bool m_headerPressed = false; // a resize now comes from the user's mouse
    QElapsedTimer m_typeAhead;    // since the last key of a type-ahead search
};
