#include "browser/operations/DialogPrompter.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>

namespace {

QMessageBox::Icon iconFor(Alert::Style style)
{
    switch (style) {
    case Alert::Style::informational:
        return QMessageBox::Information;
    case Alert::Style::warning:
        return QMessageBox::Warning;
    case Alert::Style::critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::Warning;
}

} // namespace

void DialogPrompter::present(const Alert& alert, std::function<void(Alert::Response)> done)
{
    auto* box = new QMessageBox(iconFor(alert.style), QStringLiteral("Quillo"), alert.message,
                                QMessageBox::NoButton, m_window);
    box->setInformativeText(alert.informativeText);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setWindowModality(m_window ? Qt::WindowModal : Qt::ApplicationModal);
    std::vector<QPushButton*> buttons;
    for (int i = 0; i < alert.buttons.size(); ++i) {
        const auto role =
            i == alert.destructiveButton ? QMessageBox::DestructiveRole : QMessageBox::AcceptRole;
        QPushButton* button = box->addButton(alert.buttons[i], role);
        // A destructive button never answers Return.
        button->setAutoDefault(false);
        buttons.push_back(button);
    }
    if (alert.defaultButton >= 0 && alert.defaultButton < int(buttons.size()) &&
        alert.defaultButton != alert.destructiveButton)
        box->setDefaultButton(buttons[size_t(alert.defaultButton)]);
    if (alert.escapeButton >= 0 && alert.escapeButton < int(buttons.size()))
        box->setEscapeButton(buttons[size_t(alert.escapeButton)]);
    if (!alert.suppressionTitle.isEmpty())
        box->setCheckBox(new QCheckBox(alert.suppressionTitle, box));
    QObject::connect(box, &QMessageBox::finished, box, [box, buttons, done] {
        Alert::Response response;
        const auto it = std::find(buttons.begin(), buttons.end(), box->clickedButton());
        response.button = it == buttons.end() ? -1 : int(it - buttons.begin());
        response.suppressed = box->checkBox() && box->checkBox()->isChecked();
        if (done)
            done(response);
    });
    box->open();
}
