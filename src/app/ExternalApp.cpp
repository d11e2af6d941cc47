#include "app/ExternalApp.h"

#include "platform/DesktopApps.h"

bool ExternalApp::isInstalled() const
{
    return DesktopApps::isInstalled(desktopId);
}

QString ExternalApp::bareId(const QString& desktopId)
{
    QString id = desktopId;
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    return id;
}

std::optional<ExternalApp> ExternalApp::preferred(const std::vector<ExternalApp>& known,
                                                  const std::optional<QString>& identifier)
{
    if (identifier && !identifier->isEmpty() && DesktopApps::isInstalled(*identifier)) {
        const QString stored = bareId(*identifier);
        for (const ExternalApp& app : known)
            if (bareId(app.desktopId) == stored)
                return app;
        return ExternalApp{DesktopApps::displayName(*identifier).value_or(stored), *identifier};
    }
    for (const ExternalApp& app : known)
        if (app.isInstalled())
            return app;
    return std::nullopt;
}
