#pragma once

#include <QSet>
#include <QUuid>
#include <QWidget>
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
// keeping expansion and selection.
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

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildWidgets();
    void connectSignals();
    void saveViewState();
    void restoreViewState();
    void updateButtons();
    void showMessage(const QString& text);

    TagStore& m_store;
    TagTreeModel* m_model = nullptr;
    QTreeView* m_view = nullptr;
    QLabel* m_message = nullptr;
    QPushButton* m_new = nullptr;
    QPushButton* m_rename = nullptr;
    TagColorPicker* m_color = nullptr;
    QPushButton* m_delete = nullptr;
    std::unique_ptr<Prompter> m_prompter;
    QSet<QUuid> m_collapsed; // kept across rebuilds of the tree
    QUuid m_current;
};
