#pragma once

#include "tags/TagAttributeMirror.h"

#include <QSet>
#include <QUuid>
#include <QWidget>
#include <atomic>
#include <filesystem>
#include <memory>

class Prompter;
class QLabel;
class QPushButton;
class QTreeView;
class TagColorPicker;
class TagStore;
class TagTreeModel;

// The タグ page of the settings window: the tag tree with new, rename (F2),
// colour and delete; drag and drop or Ctrl+arrow keys move tags within the tree.
// The favourites tag can only be recoloured and reordered. It follows the store,
// keeping expansion and selection. Tags that other programs left in the
// "user.xdg.tags" attributes of a folder's items can be imported.
class TagManagerWidget : public QWidget {
    Q_OBJECT
public:
    explicit TagManagerWidget(TagStore& store, QWidget* parent = nullptr);
    ~TagManagerWidget() override;

    TagTreeModel* model() const { return m_model; }
    QTreeView* view() const { return m_view; }
    QLabel* message() const { return m_message; }
    // Answers the delete confirmation; by default a window-modal dialog.
    void setPrompter(std::unique_ptr<Prompter> prompter);

    QUuid currentID() const;
    void selectTag(const QUuid& id);

    void renameCurrent();
    // Asks first; the answer may come later.
    void deleteCurrent();
    // Asks for the name in a dialog.
    void newTag();
    // Creates the named tag (a/b makes the hierarchy) and selects it, or says why not.
    bool createTag(const QString& name);
    // Among the siblings: -1 up, +1 down.
    void moveCurrent(int delta);
    // Out to the parent's level, after the parent.
    void outdentCurrent();
    // Under the sibling above, as its last child.
    void indentCurrent();
    // Asks for a folder, then imports from it.
    void importFromAttributes();
    // Scans the folder off the main thread, lists the names no tag has yet with
    // their numbers of items, and on confirmation creates and assigns them.
    void importFrom(const std::filesystem::path& folder);

Q_SIGNALS:
    // The scan of importFrom() is over (before anything is asked).
    void importScanned();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildWidgets();
    void connectSignals();
    void saveViewState();
    void restoreViewState();
    void updateButtons();
    void showMessage(const QString& text);
    void offerImport(std::vector<TagAttributeMirror::Candidate> candidates);

    TagStore& m_store;
    TagTreeModel* m_model = nullptr;
    QTreeView* m_view = nullptr;
    QLabel* m_message = nullptr;
    QPushButton* m_new = nullptr;
    QPushButton* m_rename = nullptr;
    TagColorPicker* m_color = nullptr;
    QPushButton* m_delete = nullptr;
    QPushButton* m_import = nullptr;
    std::shared_ptr<std::atomic<bool>> m_importCancelled; // set when the page goes
    std::unique_ptr<Prompter> m_prompter;
    QSet<QUuid> m_collapsed; // kept across rebuilds of the tree
    QUuid m_current;
};
