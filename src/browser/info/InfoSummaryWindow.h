#pragma once

#include <QWidget>
#include <cstdint>
#include <filesystem>
#include <vector>

class QLabel;

// 情報を見る for many items at once: how many of each kind, their total size (folders
// through the folder-size service) and what they take on disk.
class InfoSummaryWindow : public QWidget {
    Q_OBJECT
public:
    explicit InfoSummaryWindow(std::vector<std::filesystem::path> items, QWidget* parent = nullptr);
    ~InfoSummaryWindow() override;

    QLabel* counts() const { return m_counts; }
    QLabel* size() const { return m_size; }
    QLabel* onDisk() const { return m_onDisk; }

private:
    void showSizes();

    std::vector<std::filesystem::path> m_items;
    QLabel* m_counts = nullptr;
    QLabel* m_size = nullptr;
    QLabel* m_onDisk = nullptr;
    int64_t m_bytes = 0; // files, then folders as they arrive
    int m_waitingFolders = 0;
};
