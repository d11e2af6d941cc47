#pragma once

#include "core/Location.h"
#include "files/PaneLayout.h"

#include <QObject>

class BrowserWindow;

// The running program: opens browser windows and wires the layers together.
class Application : public QObject {
    Q_OBJECT
public:
    explicit Application(QObject* parent = nullptr);

    // Sets up locale, icon theme and the settings store; call once after QApplication.
    static void configure();

    BrowserWindow* openWindow(const PaneLayout& layout);
    BrowserWindow* openWindow(const Location& location);
};
