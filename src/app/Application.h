#pragma once

#include "core/Location.h"
#include "files/PaneLayout.h"

#include <QObject>
#include <memory>

class BrowserWindow;
class OperationsPanel;

// The running program: opens browser windows and wires the layers together.
class Application : public QObject {
    Q_OBJECT
public:
    explicit Application(QObject* parent = nullptr);
    ~Application() override;

    // Sets up locale, icon theme and the settings store; call once after QApplication.
    static void configure();

    BrowserWindow* openWindow(const PaneLayout& layout);
    BrowserWindow* openWindow(const Location& location);

private:
    std::unique_ptr<OperationsPanel> m_operationsPanel;
};
