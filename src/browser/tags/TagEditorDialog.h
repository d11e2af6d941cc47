#pragma once

#include <QDialog>
#include <QHash>
#include <QList>
#include <QPair>
#include <QUuid>
#include <filesystem>
#include <vector>

class QLabel;
class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;
class TagStore;

// "タグを編集": the tags of the selected items. Each tag has a three-state box
// (every item, some, none carry it explicitly); a click, Space or Return assigns
// it to all items or, when all carry it, takes it off all. The field on top
// filters the tags and offers to create the typed name. Changes go to the store
// at once; the boxes follow the store.
class TagEditorDialog : public QDialog {
    Q_OBJECT
public:
    using Path = std::filesystem::path;

    TagEditorDialog(TagStore& store, const std::vector<Path>& items, QWidget* parent = nullptr);

    // Opens an editor for the items over `window` (window-modal), with the shared store.
    static TagEditorDialog* showFor(QWidget* window, const std::vector<Path>& items);

    QLineEdit* filterField() const { return m_filter; }
    QTreeWidget* list() const { return m_list; }
    QLabel* note() const { return m_note; }
    // The items that can carry tags (names in UTF-8).
    const std::vector<Path>& items() const { return m_items; }
    QTreeWidgetItem* rowFor(const QUuid& id) const { return m_rows.value(id); }
    QTreeWidgetItem* createRow() const { return m_createRow; }

    // What Return does: creates the offered tag, or toggles the current one.
    void activateCurrent();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildWidgets(const std::vector<Path>& items);
    void storeChanged();
    void rebuild();
    void refresh();
    void applyFilter();
    void selectFirstMatch();
    void activate(QTreeWidgetItem* row);
    void toggle(const QUuid& id);
    void createFromFilter();

    TagStore& m_store;
    std::vector<Path> m_items;
    QLineEdit* m_filter = nullptr;
    QTreeWidget* m_list = nullptr;
    QLabel* m_note = nullptr;
    QTreeWidgetItem* m_createRow = nullptr;
    QHash<QUuid, QTreeWidgetItem*> m_rows;
    QList<QPair<QUuid, QString>> m_shape; // ids and names the rows were built from
};
