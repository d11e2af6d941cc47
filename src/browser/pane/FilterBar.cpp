#include "browser/pane/FilterBar.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>

FilterBar::FilterBar(QWidget* parent)
    : QWidget(parent)
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(6, 2, 6, 2);
    auto* label = new QLabel(QStringLiteral("絞り込み:"), this);
    m_edit = new QLineEdit(this);
    m_edit->setClearButtonEnabled(true);
    m_edit->installEventFilter(this);
    layout->addWidget(label);
    layout->addWidget(m_edit, 1);
    setFixedHeight(kHeight);
    hide();
    connect(m_edit, &QLineEdit::textEdited, this, &FilterBar::textEdited);
    connect(m_edit, &QLineEdit::returnPressed, this, &FilterBar::returnPressed);
}

void FilterBar::open()
{
    show();
    m_edit->setFocus(Qt::ShortcutFocusReason);
    m_edit->selectAll();
}

void FilterBar::close()
{
    const QSignalBlocker blocker(m_edit);
    m_edit->clear();
    hide();
}

QString FilterBar::text() const
{
    return m_edit->text();
}

bool FilterBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_edit && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Escape) {
            Q_EMIT escapePressed();
            return true;
        }
        if (key == Qt::Key_Down) {
            Q_EMIT downPressed();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
