#pragma once

#include <QString>
#include <QWidget>

class QKeyEvent;
class QLabel;
class QLineEdit;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

// The ショートカット page of the settings window: every menu item with its
// shortcut. A row's button (or Return on the row) records the next key press;
// refusals show under the list. Works from the keyboard alone: filter field,
// list, then the actions.
class ShortcutSettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit ShortcutSettingsPage(QWidget* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    void buildWidgets();
    void connectSignals();
    void rebuild();
    void refresh();
    void applyFilter(const QString& text);
    void startRecording(QTreeWidgetItem* row);
    void stopRecording();
    void record(const QKeyEvent& event);
    void updateButtons();
    QString selectedIdentifier() const;
    void showRefusal(const QString& text);

    QLineEdit* m_filter = nullptr;
    QTreeWidget* m_list = nullptr;
    QLabel* m_prompt = nullptr;
    QLabel* m_refusal = nullptr;
    QPushButton* m_remove = nullptr;
    QPushButton* m_reset = nullptr;
    QPushButton* m_resetAll = nullptr;
    QString m_recording; // identifier of the row waiting for a key
};
