#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <unordered_map>
#include <vector>

class FileOperation;
class OperationsStore;
class QLabel;
class QVBoxLayout;

// The small "ファイル操作" tool window shared by all browser windows: one row per
// running operation with its title, progress bar, detail line and a cancel
// button. It stays above the browser windows and never takes the keyboard focus.
// It sits in a corner of the key window, never over a dialog of ours: dialogs
// opening or closing move it, or hide it while no corner is free.
class OperationsPanel : public QWidget {
    Q_OBJECT
public:
    explicit OperationsPanel(OperationsStore& store, QWidget* parent = nullptr);

    int rowCount() const { return int(m_rows.size()); }
    // The window the panel sits on (the key browser window); null: the screen.
    void setAnchor(std::function<QWidget*()> anchor) { m_anchor = std::move(anchor); }

    // The first corner of `area`, then of `screen`, where a panel of `size` covers
    // none of `dialogs`.
    static std::optional<QPoint> placement(QSize size, const QRect& area, const QRect& screen,
                                           const std::vector<QRect>& dialogs);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void place();
    void addRow(FileOperation* operation);
    void removeRow(FileOperation* operation);
    void showWithoutFocus();
    void updateEmptyText();

    OperationsStore& m_store;
    QVBoxLayout* m_rowsLayout = nullptr;
    QLabel* m_emptyLabel = nullptr;
    std::unordered_map<FileOperation*, QWidget*> m_rows;
    std::function<QWidget*()> m_anchor;
    bool m_wanted = false; // shown by the store, maybe hidden behind dialogs
};
