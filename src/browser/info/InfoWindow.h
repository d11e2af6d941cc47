#pragma once

#include "browser/info/ItemFacts.h"

#include <QHash>
#include <QWidget>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

class ApplicationRow;
class DirectoryWatcher;
class PermissionGrid;
class Prompter;
class QFormLayout;
class QLabel;
class QLineEdit;
class QPushButton;

// 情報を見る for one item: a tool window that follows the item on disk (changes by
// other programs, renames through Quillo) and greys out when it is gone. The name,
// the permission bits and the tags can be changed here; changes of names and
// modes go through the operation manager, with undo.
class InfoWindow : public QWidget {
    Q_OBJECT
public:
    explicit InfoWindow(std::filesystem::path item, QWidget* parent = nullptr);
    ~InfoWindow() override;

    const std::filesystem::path& item() const { return m_path; }
    const ItemFacts& facts() const { return m_facts; }
    // Reads the item again (one stat) and shows it.
    void refresh();
    void setPrompter(std::shared_ptr<Prompter> prompter) { m_prompter = std::move(prompter); }

    // What clicking the location does: show the items in a browser window.
    using Reveal = std::function<void(const std::vector<std::filesystem::path>&)>;
    static void setRevealHandler(Reveal reveal);

    QLineEdit* nameField() const { return m_name; }
    QLineEdit* linkTargetField() const { return m_linkTarget; }
    PermissionGrid* permissions() const { return m_permissions; }
    QPushButton* applyInsideButton() const { return m_applyInside; }
    // The value shown beside a label such as "種類"; null for no such row.
    QLabel* value(const QString& label) const { return m_values.value(label); }
    // Commit the name and link target fields (Return or leaving them).
    void commitName();
    void commitLinkTarget();

Q_SIGNALS:
    // The window shows what the disk now holds.
    void refreshed();

private:
    void build();
    QLabel* addValue(QFormLayout* form, const QString& label);
    void showFacts();
    void showRowsFor(const ItemFacts& facts);
    void watch();
    void diskChanged(const std::vector<std::filesystem::path>& paths);
    void requestFolderSizes();
    void changeBit(mode_t bit, bool on);
    void applyInside();
    void showTags();
    void
    itemsMoved(const std::vector<std::pair<std::filesystem::path, std::filesystem::path>>& moves);

    std::filesystem::path m_path;
    ItemFacts m_facts;
    std::shared_ptr<Prompter> m_prompter;
    std::unique_ptr<DirectoryWatcher> m_watcher;
    QFormLayout* m_form = nullptr;
    QWidget* m_content = nullptr;
    QLabel* m_icon = nullptr;
    QLineEdit* m_name = nullptr;
    QLineEdit* m_linkTarget = nullptr;
    PermissionGrid* m_permissions = nullptr;
    QPushButton* m_applyInside = nullptr;
    QHash<QString, QLabel*> m_values;
    QHash<QString, QWidget*> m_rowFields;
    quint64 m_sizeGeneration = 0;
    ApplicationRow* m_application = nullptr;
};
