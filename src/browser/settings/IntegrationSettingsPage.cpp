#include "browser/settings/IntegrationSettingsPage.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QLabel>
#include <QVBoxLayout>

IntegrationSettingsPage::IntegrationSettingsPage(QWidget* parent,
                                                 std::filesystem::path mimeAppsFile)
    : QWidget(parent)
    , m_registration(std::move(mimeAppsFile))
{
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildDefaultApplications());
    layout->addStretch(1);
    refresh();
}

void IntegrationSettingsPage::addGroup(QWidget* group)
{
    auto* column = static_cast<QVBoxLayout*>(layout());
    column->insertWidget(column->count() - 1, group); // above the stretch
}

QWidget* IntegrationSettingsPage::buildDefaultApplications()
{
    auto* group = new QGroupBox(QStringLiteral("既定のアプリケーション"), this);
    auto* layout = new QVBoxLayout(group);
    auto* explanation = new QLabel(QStringLiteral("オンにしたファイルの種類は、ほかのアプリから開く"
                                                  "と Quillo のプレビューで表示されます。"),
                                   group);
    explanation->setWordWrap(true);
    layout->addWidget(explanation);
    for (PreviewFileKind kind : kAllPreviewFileKinds) {
        auto* box = new QCheckBox(title(kind), group);
        box->setObjectName(QStringLiteral("fileHandler-") + rawValue(kind));
        const Switch item{kind, box};
        // Clicks only: the state read from the file is shown without writing it back.
        connect(box, &QCheckBox::clicked, this, [this, item](bool on) { change(item, on); });
        layout->addWidget(box);
        m_switches.push_back(item);
    }
    m_alert = new QLabel(group);
    m_alert->setObjectName(QStringLiteral("fileHandlerAlert"));
    m_alert->setTextFormat(Qt::PlainText);
    m_alert->setWordWrap(true);
    m_alert->hide();
    layout->addWidget(m_alert);
    return group;
}

void IntegrationSettingsPage::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    refresh();
}

void IntegrationSettingsPage::refresh()
{
    // A read in flight may have started before the file changed, and one that crosses
    // a change could show the state from before it: read again once they are done.
    if (m_reading || m_changing > 0) {
        m_readAgain = true;
        return;
    }
    m_readAgain = false;
    m_reading = true;
    setSwitchesEnabled(false);
    m_registration.defaultKindsInBackground(
        this,
        [this](std::expected<QList<PreviewFileKind>, FileHandlerRegistration::Failure> kinds) {
            m_reading = false;
            if (m_readAgain) {
                refresh();
                return;
            }
            // An unreadable file shows every switch off; turning one on then says why.
            for (const Switch& item : m_switches)
                item.box->setChecked(kinds && kinds->contains(item.kind));
            setSwitchesEnabled(true);
        });
}

void IntegrationSettingsPage::change(const Switch& item, bool on)
{
    ++m_changing;
    item.box->setEnabled(false);
    m_alert->hide();
    m_registration.setDefaultInBackground(
        item.kind, on, this,
        [this, item, on](std::optional<FileHandlerRegistration::Failure> failure) {
            --m_changing;
            item.box->setEnabled(true);
            if (failure) {
                item.box->setChecked(!on);
                showFailure(failure->message());
            }
            if (m_changing == 0 && m_readAgain)
                refresh();
        });
}

void IntegrationSettingsPage::showFailure(const QString& message)
{
    // Red that reads on the light and the dark theme alike.
    const bool dark = palette().color(QPalette::Window).lightness() < 128;
    QPalette colours = m_alert->palette();
    colours.setColor(QPalette::WindowText,
                     dark ? QColor(0xff, 0x6b, 0x6b) : QColor(0xc6, 0x28, 0x28));
    m_alert->setPalette(colours);
    m_alert->setText(message);
    m_alert->show();
}

void IntegrationSettingsPage::setSwitchesEnabled(bool enabled)
{
    for (const Switch& item : m_switches)
        item.box->setEnabled(enabled);
}
