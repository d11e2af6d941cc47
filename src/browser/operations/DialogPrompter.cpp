#include "browser/operations/DialogPrompter.h"

#include "browser/operations/AlertDialog.h"

void DialogPrompter::present(const Alert& alert, std::function<void(Alert::Response)> done)
{
    auto* dialog = new AlertDialog(alert, m_window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    QObject::connect(dialog, &QDialog::finished, dialog, [dialog, done] {
        if (done)
            done(dialog->response());
    });
    if (m_window) {
        dialog->open(); // window-modal
    } else {
        dialog->setWindowModality(Qt::ApplicationModal);
        dialog->show();
    }
}
