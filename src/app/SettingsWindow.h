#pragma once

#include <QWidget>

class QTabWidget;

// The one settings window: "一般", "外観", "ショートカット" and "タグ" tabs. Every change is
// written and applied as it is made; there is nothing to confirm. Escape closes it.
class SettingsWindow : public QWidget {
    Q_OBJECT
public:
    explicit SettingsWindow(QWidget* parent = nullptr);

    // Shows and raises the shared window, making it on first use.
    static void showShared();
    static SettingsWindow* sharedIfOpen();

    QTabWidget* tabs() const { return m_tabs; }

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QTabWidget* m_tabs = nullptr;
};
