#pragma once

#include <QWidget>
#include <filesystem>

class QFormLayout;
class QLabel;
struct CardFacts;

// The preview of a file that no viewer shows: its icon (or the freedesktop thumbnail
// when one exists), name, kind, size and dates, and an optional message saying why
// there is no richer preview. The facts are read off the main thread.
class FileCard : public QWidget {
    Q_OBJECT
public:
    explicit FileCard(QWidget* parent = nullptr);
    ~FileCard() override;

    // Returns at once; emits shown() when the facts are on screen.
    void load(const std::filesystem::path& file, const QString& message = {});
    void clear();

Q_SIGNALS:
    void shown(const std::filesystem::path& file);

private:
    void present(const std::filesystem::path& file, const CardFacts& facts);

    QFormLayout* m_facts = nullptr;
    QLabel* m_icon = nullptr;
    QLabel* m_name = nullptr;
    QLabel* m_kind = nullptr;
    QLabel* m_size = nullptr;
    QLabel* m_modified = nullptr;
    QLabel* m_created = nullptr;
    QLabel* m_message = nullptr;
    quint64 m_generation = 0;
};
