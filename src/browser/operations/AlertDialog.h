#pragma once

#include "operations/Alert.h"

#include <QDialog>
#include <vector>

class QCheckBox;
class QPushButton;

// An alert as a dialog. Its buttons stand left to right in the alert's own order
// on every desktop: QMessageBox and QDialogButtonBox would reorder them by role
// according to the style (GNOME, KDE, macOS layouts).
class AlertDialog : public QDialog {
    Q_OBJECT
public:
    AlertDialog(const Alert& alert, QWidget* parent);

    // In the alert's order.
    const std::vector<QPushButton*>& buttons() const { return m_buttons; }
    QString message() const;
    // The button that answered (-1 while none has) and the check box.
    Alert::Response response() const;

public Q_SLOTS:
    // Escape and the window's close button answer with the escape button, if any.
    void reject() override;

private:
    void answer(int button);

    std::vector<QPushButton*> m_buttons;
    QCheckBox* m_suppression = nullptr;
    QString m_message;
    int m_escapeButton = -1;
    int m_answer = -1;
};
