#pragma once

#include "platform/DesktopApps.h"

#include <QDialog>
#include <functional>
#include <vector>

class QLineEdit;
class QListWidget;

// Picks one of the installed applications: a window-modal dialog with a search field
// that keeps the focus while the arrows walk the list beneath it. Typing filters by
// name or desktop id (case-insensitive), Return picks, Escape cancels.
class ApplicationChooser : public QDialog {
    Q_OBJECT
public:
    ApplicationChooser(std::vector<DesktopApps::Application> applications, const QString& title,
                       QWidget* parent);

    // Shows a chooser over `parent`; `chosen` runs with the picked desktop id, never on
    // cancel. The dialog deletes itself when closed.
    static ApplicationChooser* choose(QWidget* parent, const QString& title,
                                      std::vector<DesktopApps::Application> applications,
                                      std::function<void(const QString&)> chosen);

    QLineEdit* searchField() const { return m_search; }
    QListWidget* list() const { return m_results; }

    static bool matches(const DesktopApps::Application& app, const QString& query);

Q_SIGNALS:
    void applicationChosen(const QString& desktopId);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void filter(const QString& text);
    void pick();

    std::vector<DesktopApps::Application> m_applications;
    QLineEdit* m_search = nullptr;
    QListWidget* m_results = nullptr;
};
