#include "app/UpdateProgressPanel.h"

#include "update/UpdateInstaller.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

namespace {

constexpr int kSteps = 1000;

} // namespace

UpdateProgressPanel::UpdateProgressPanel(const QString& version, QWidget* parent)
    : QWidget(parent, Qt::Tool)
    , m_label(new QLabel(this))
    , m_bar(new QProgressBar(this))
{
    setWindowTitle(QStringLiteral("Quillo をアップデート"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_label->setTextFormat(Qt::PlainText);
    m_label->setText(QStringLiteral("Quillo ") + version +
                     QStringLiteral(" をダウンロードしています…"));
    m_bar->setRange(0, kSteps);
    m_bar->setValue(0);
    m_bar->setTextVisible(false);
    auto* cancel = new QPushButton(QStringLiteral("キャンセル"), this);
    cancel->setDefault(true);
    connect(cancel, &QPushButton::clicked, this, &QWidget::close);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    auto* box = new QVBoxLayout(this);
    box->setContentsMargins(16, 16, 16, 12);
    box->addWidget(m_label);
    box->addWidget(m_bar);
    box->addLayout(buttons);
    setMinimumWidth(360);
}

UpdateProgressPanel* UpdateProgressPanel::follow(UpdateInstaller& installer, const QString& version,
                                                 QWidget* parent)
{
    auto* panel = new UpdateProgressPanel(version, parent);
    connect(&installer, &UpdateInstaller::progressChanged, panel,
            &UpdateProgressPanel::setFraction);
    connect(&installer, &UpdateInstaller::downloaded, panel, &UpdateProgressPanel::showPreparing);
    for (const auto ended : {&UpdateInstaller::readyToQuit, &UpdateInstaller::cancelled})
        connect(&installer, ended, panel, &UpdateProgressPanel::finish);
    connect(&installer, &UpdateInstaller::failed, panel, &UpdateProgressPanel::finish);
    connect(panel, &UpdateProgressPanel::cancelRequested, &installer, &UpdateInstaller::cancel);
    panel->show();
    return panel;
}

QString UpdateProgressPanel::text() const
{
    return m_label->text();
}

int UpdateProgressPanel::permille() const
{
    return m_bar->value();
}

void UpdateProgressPanel::setFraction(double fraction)
{
    m_bar->setValue(int(std::clamp(fraction, 0.0, 1.0) * kSteps));
}

void UpdateProgressPanel::showPreparing()
{
    m_bar->setValue(kSteps);
    m_label->setText(QStringLiteral("入れ替えて、Quillo を開き直します…"));
}

void UpdateProgressPanel::finish()
{
    m_finished = true;
    close();
}

void UpdateProgressPanel::closeEvent(QCloseEvent* event)
{
    if (!m_finished) {
        m_finished = true;
        Q_EMIT cancelRequested();
    }
    event->accept();
}

void UpdateProgressPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        close();
    else
        QWidget::keyPressEvent(event);
}
