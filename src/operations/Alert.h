#pragma once

#include <QString>
#include <QStringList>
#include <functional>

// A question or a message for the person, described without any widget: the
// operation manager writes it, the window shows it (a window-modal dialog),
// tests answer it with a script.
struct Alert {
    enum class Style { informational, warning, critical };

    Style style = Style::warning;
    QString message;
    QString informativeText;
    QStringList buttons;        // in order; the first is the default unless noted
    int defaultButton = 0;      // Return; -1: none
    int escapeButton = -1;      // Escape; -1: none
    int destructiveButton = -1; // drawn as destructive, never on Return
    QString suppressionTitle;   // a check box when not empty

    struct Response {
        int button = -1;         // index into buttons; -1 when dismissed
        bool suppressed = false; // the check box was ticked
    };
};

// Shows alerts for one window. `done` runs on the main thread once answered.
class Prompter {
public:
    virtual ~Prompter() = default;
    virtual void present(const Alert& alert, std::function<void(Alert::Response)> done) = 0;
};
