#pragma once

#include <QString>
#include <functional>

class QWidget;

// A window-modal field asking for a name; `done` gets the text as typed once OK
// is pressed, and is not called on cancel.
namespace NamePrompt {

void open(QWidget* window, const QString& title, const QString& label, const QString& text,
          const QString& okText, std::function<void(const QString&)> done);

} // namespace NamePrompt
