#include "browser/info/ApplicationRow.h"

#include "browser/apps/ApplicationChooser.h"
#include "browser/operations/DialogPrompter.h"
#include "platform/DesktopApps.h"
#include "platform/MimeAppsList.h"
#include "preview/FileHandlerRegistration.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QtConcurrent/QtConcurrent>

ApplicationRow::ApplicationRow(QWidget* parent)
    : QWidget(parent)
    , m_name(new QLabel(this))
{
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    auto* change = new QPushButton(QStringLiteral("変更…"), this);
    layout->addWidget(m_name);
    layout->addWidget(change);
    layout->addStretch();
    connect(change, &QPushButton::clicked, this, &ApplicationRow::choose);
}

void ApplicationRow::setMimeType(const QString& mimeType)
{
    if (mimeType == m_mimeType)
        return;
    m_mimeType = mimeType;
    lookUp();
}

void ApplicationRow::lookUp()
{
    const quint64 generation = ++m_generation;
    QtConcurrent::run([type = m_mimeType]() -> QString {
        const auto id = DesktopApps::defaultFor(type);
        const auto name = id ? DesktopApps::displayName(*id) : std::nullopt;
        return name.value_or(QStringLiteral("—"));
    }).then(this, [this, generation](const QString& name) {
        if (generation != m_generation)
            return;
        m_name->setText(name);
        Q_EMIT shown();
    });
}

void ApplicationRow::choose()
{
    QtConcurrent::run([type = m_mimeType] {
        return DesktopApps::applicationsFor(type);
    }).then(this, [this](std::vector<DesktopApps::Application> apps) {
        ApplicationChooser::choose(window(), QStringLiteral("このアプリケーションで開く"),
                                   std::move(apps), [this](const QString& id) { makeDefault(id); });
    });
}

void ApplicationRow::makeDefault(const QString& desktopId)
{
    using Failure = FileHandlerRegistration::Failure;
    QtConcurrent::run([type = m_mimeType, desktopId]() -> std::optional<Failure> {
        // The chosen one goes first; those named before stay behind it as fallbacks.
        const auto file = FileHandlerRegistration::userFile();
        auto list = MimeAppsList::load(file);
        if (!list)
            return Failure{list.error(), false};
        QStringList ids = list->defaults(type);
        ids.removeAll(desktopId);
        ids.prepend(desktopId);
        list->setDefaultValue(type, MimeAppsList::joinIds(ids));
        if (Result<void> saved = list->save(file); !saved)
            return Failure{saved.error(), true};
        return std::nullopt;
    }).then(this, [this](const std::optional<Failure>& failure) {
        lookUp();
        if (!failure)
            return;
        Alert alert;
        alert.style = Alert::Style::critical;
        alert.message = failure->message();
        alert.buttons = {QStringLiteral("OK")};
        DialogPrompter(window()).present(alert, [](Alert::Response) {});
    });
}
