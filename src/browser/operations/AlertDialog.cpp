#include "browser/operations/AlertDialog.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QVBoxLayout>

namespace {

QStyle::StandardPixmap pixmapFor(Alert::Style style)
{
    switch (style) {
    case Alert::Style::informational:
        return QStyle::SP_MessageBoxInformation;
    case Alert::Style::warning:
        return QStyle::SP_MessageBoxWarning;
    case Alert::Style::critical:
        return QStyle::SP_MessageBoxCritical;
    }
    return QStyle::SP_MessageBoxWarning;
}

QLabel* textLabel(const QString& text, bool bold, QWidget* parent)
{
    // Plain text: a file name such as "<b>x" must not turn into markup.
    auto* label = new QLabel(text, parent);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setTextInteractionFlags(Qt::TextSelectableByMouse);
    QFont font = label->font();
    font.setBold(bold);
    label->setFont(font);
    // Wide enough for a usual line, so that only long ones wrap.
    int widest = 0;
    for (const QString& line : text.split(QLatin1Char('\n')))
        widest = std::max(widest, label->fontMetrics().horizontalAdvance(line));
    label->setMinimumWidth(std::clamp(widest + 4, 320, 520));
    return label;
}

} // namespace

AlertDialog::AlertDialog(const Alert& alert, QWidget* parent)
    : QDialog(parent)
    , m_message(alert.message)
{
    setWindowTitle(QStringLiteral("Quillo"));
    auto* icon = new QLabel(this);
    const int iconSize = style()->pixelMetric(QStyle::PM_MessageBoxIconSize, nullptr, this);
    icon->setPixmap(style()->standardIcon(pixmapFor(alert.style)).pixmap(iconSize, iconSize));
    auto* texts = new QVBoxLayout;
    texts->addWidget(textLabel(alert.message, true, this));
    if (!alert.informativeText.isEmpty())
        texts->addWidget(textLabel(alert.informativeText, false, this));
    if (!alert.suppressionTitle.isEmpty()) {
        m_suppression = new QCheckBox(alert.suppressionTitle, this);
        texts->addWidget(m_suppression);
    }
    auto* top = new QHBoxLayout;
    top->addWidget(icon, 0, Qt::AlignTop);
    top->addLayout(texts, 1);

    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (int i = 0; i < alert.buttons.size(); ++i) {
        auto* button = new QPushButton(alert.buttons[i], this);
        // Only the default button answers Return; a destructive one never does.
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, [this, i] { answer(i); });
        row->addWidget(button);
        m_buttons.push_back(button);
    }
    const int count = int(m_buttons.size());
    const int defaultButton =
        alert.defaultButton < count && alert.defaultButton != alert.destructiveButton
            ? alert.defaultButton
            : -1;
    // As QMessageBox does, a lone button is also the Escape answer.
    m_escapeButton = alert.escapeButton >= 0 && alert.escapeButton < count ? alert.escapeButton
                     : count == 1                                          ? 0
                                                                           : -1;
    QPushButton* focused = nullptr;
    if (defaultButton >= 0) {
        m_buttons[size_t(defaultButton)]->setDefault(true);
        focused = m_buttons[size_t(defaultButton)];
    } else if (m_escapeButton >= 0) {
        focused = m_buttons[size_t(m_escapeButton)];
    } else if (count > 0) {
        // Space on a focused destructive button would answer it.
        focused = m_buttons[alert.destructiveButton == 0 && count > 1 ? 1 : 0];
    }
    if (focused)
        focused->setFocus();

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(top);
    layout->addSpacing(8);
    layout->addLayout(row);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

QString AlertDialog::message() const
{
    return m_message;
}

Alert::Response AlertDialog::response() const
{
    return {m_answer, m_suppression && m_suppression->isChecked()};
}

void AlertDialog::reject()
{
    if (m_escapeButton >= 0)
        answer(m_escapeButton);
}

void AlertDialog::answer(int button)
{
    m_answer = button;
    done(QDialog::Accepted);
}
