#pragma once

#include "operations/Alert.h"

#include <QPointer>
#include <QWidget>

// Shows alerts as window-modal dialogs on a window (application-modal when the
// window is gone), without blocking the event loop.
class DialogPrompter : public Prompter {
public:
    explicit DialogPrompter(QWidget* window)
        : m_window(window)
    {
    }

    void present(const Alert& alert, std::function<void(Alert::Response)> done) override;

private:
    QPointer<QWidget> m_window;
};
