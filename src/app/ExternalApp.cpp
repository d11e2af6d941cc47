#include "app/ExternalApp.h"

#include "platform/DesktopApps.h"

#include <atomic>

namespace {

// Applications are installed and removed rarely; a menu opening now and then
// may see the state of a few seconds ago.
constexpr auto kKeptFor = std::chrono::seconds(5);

std::atomic<unsigned> g_generation{0};

} // namespace

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

void ExternalApp::forgetInstalledState()
{
    ++g_generation;
}

ExternalApp::KeptChoice::KeptChoice(Catalogue catalogue)
    : m_catalogue(std::move(catalogue))
{
}

std::optional<ExternalApp> ExternalApp::KeptChoice::get(const std::optional<QString>& identifier)
{
    {
        const std::lock_guard lock(m_mutex);
        if (m_valid && m_identifier == identifier && m_generation == g_generation &&
            std::chrono::steady_clock::now() - m_madeAt < kKeptFor)
            return m_choice;
    }
    return fresh(identifier);
}

std::optional<ExternalApp> ExternalApp::KeptChoice::fresh(const std::optional<QString>& identifier)
{
    const unsigned generation = g_generation;
    std::optional<ExternalApp> choice = preferred(m_catalogue(), identifier);
    const std::lock_guard lock(m_mutex);
    m_valid = true;
    m_identifier = identifier;
    m_choice = choice;
    m_madeAt = std::chrono::steady_clock::now();
    m_generation = generation;
    return choice;
}
