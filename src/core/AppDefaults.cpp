#include "core/AppDefaults.h"

#include <QStandardPaths>

namespace {
std::unique_ptr<QSettings> g_store;
std::unique_ptr<QSettings> g_standard;
} // namespace

std::unique_ptr<QSettings> AppDefaults::open(const QString& name)
{
    const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                           QStringLiteral("/Quillo/");
    return std::make_unique<QSettings>(folder + name + QStringLiteral(".conf"),
                                       QSettings::IniFormat);
}

QSettings& AppDefaults::standard()
{
    if (!g_standard)
        g_standard = open(QStringLiteral("Quillo"));
    return *g_standard;
}

QSettings& AppDefaults::store()
{
    if (g_store)
        return *g_store;
    const QString suite = qEnvironmentVariable("QUILLO_DEFAULTS_SUITE");
    // A suite name that cannot be a file name falls back to the standard store.
    if (!suite.isEmpty() && !suite.contains(QLatin1Char('/')) && suite != QStringLiteral(".") &&
        suite != QStringLiteral("..")) {
        auto suiteStore = open(suite);
        if (suiteStore->status() == QSettings::NoError) {
            g_store = std::move(suiteStore);
            return *g_store;
        }
    }
    g_store = open(QStringLiteral("Quillo"));
    return *g_store;
}

void AppDefaults::resetForTesting()
{
    g_store.reset();
    g_standard.reset();
}
