#pragma once

#include <QWidget>
#include <unordered_map>

class FileOperation;
class OperationsStore;
class QLabel;
class QVBoxLayout;

// The small "ファイル操作" tool window shared by all browser windows: one row per
// running operation with its title, progress bar, detail line and a cancel
// button. It stays above the browser windows and never takes the keyboard focus.
class OperationsPanel : public QWidget {
    Q_OBJECT
public:
    explicit OperationsPanel(OperationsStore& store, QWidget* parent = nullptr);

    int rowCount() const { return int(m_rows.size()); }

private:
    void addRow(FileOperation* operation);
    void removeRow(FileOperation* operation);
    void showWithoutFocus();
    void updateEmptyText();

    OperationsStore& m_store;
    QVBoxLayout* m_rowsLayout = nullptr;
    QLabel* m_emptyLabel = nullptr;
    std::unordered_map<FileOperation*, QWidget*> m_rows;
};
