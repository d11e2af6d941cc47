#pragma once

#include "preview/FileHandlerRegistration.h"

#include <QWidget>
#include <vector>

class QCheckBox;
class QLabel;

// The "連携" tab: one switch per file kind that makes Quillo the desktop's default
// application for it. The page stacks its groups vertically; the application layer
// adds its own (terminal and editor) with addGroup.
class IntegrationSettingsPage : public QWidget {
    Q_OBJECT
public:
    explicit IntegrationSettingsPage(
        QWidget* parent = nullptr,
        std::filesystem::path mimeAppsFile = FileHandlerRegistration::userFile());

    // Places a group below the ones already there; the page takes it.
    void addGroup(QWidget* group);

protected:
    // Another program may have changed the defaults while the window was closed.
    void showEvent(QShowEvent* event) override;

private:
    struct Switch {
        PreviewFileKind kind;
        QCheckBox* box;
    };
    QWidget* buildDefaultApplications();
    void refresh();
    void change(const Switch& item, bool on);
    void showFailure(const QString& message);
    void setSwitchesEnabled(bool enabled);

    FileHandlerRegistration m_registration;
    std::vector<Switch> m_switches;
    QLabel* m_alert = nullptr;
    bool m_reading = false;
    bool m_readAgain = false;
    int m_changing = 0;
};
