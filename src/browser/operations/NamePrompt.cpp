#include "browser/operations/NamePrompt.h"

#include <QInputDialog>

namespace NamePrompt {

void open(QWidget* window, const QString& title, const QString& label, const QString& text,
          const QString& okText, std::function<void(const QString&)> done)
{
    auto* dialog = new QInputDialog(window);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setWindowTitle(title);
    dialog->setLabelText(label);
    dialog->setTextValue(text);
    dialog->setOkButtonText(okText);
    dialog->setCancelButtonText(QStringLiteral("キャンセル"));
    QObject::connect(dialog, &QInputDialog::textValueSelected, dialog, std::move(done));
    dialog->open();
}

} // namespace NamePrompt
