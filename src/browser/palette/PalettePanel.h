#pragma once

#include <QFrame>
#include <QPointer>

class BrowserWindow;
class PaletteListModel;
class PaletteModel;
class QLabel;
class QLineEdit;
class QListView;
struct PaletteItem;

// The command palette over a browser window (Ctrl+K): a query field, the ranked
// results and a footer with the keys. It reads nothing from disk itself; the model
// does that off the main thread. Closes on Escape, on running a result, and when the
// focus leaves it.
class PalettePanel : public QFrame {
    Q_OBJECT
public:
    // Where a result opens.
    enum class Target { ActivePane, OtherPane, NewTab };

    explicit PalettePanel(BrowserWindow& window);

    void open();
    void close();
    bool isOpen() const { return isVisible(); }

    PaletteModel* model() const;
    QLineEdit* field() const { return m_field; }
    QListView* list() const { return m_list; }

    // Runs the result or opens it where asked.
    void activate(const PaletteItem& item, Target target);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void build();
    void place();
    void refresh();
    void showSelection();
    bool handleKey(QKeyEvent* event);
    void activateSelected(Qt::KeyboardModifiers modifiers);
    void openInTerminal(const PaletteItem& item);
    void complete();
    void focusChanged(QWidget* now);

    BrowserWindow& m_window;
    QPointer<PaletteModel> m_model;
    QLineEdit* m_field = nullptr;
    QListView* m_list = nullptr;
    PaletteListModel* m_rows = nullptr;
    QLabel* m_empty = nullptr;
    QLabel* m_footer = nullptr;
};
