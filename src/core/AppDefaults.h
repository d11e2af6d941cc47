#pragma once

#include <QSettings>
#include <memory>

// Which settings file to use. The store is chosen once, on first use:
// $XDG_CONFIG_HOME/Quillo/S.conf for QUILLO_DEFAULTS_SUITE=S, else the standard
// $XDG_CONFIG_HOME/Quillo/Quillo.conf. The session always lives in the standard one.
class AppDefaults {
public:
    static QSettings& store();
    static QSettings& standard();

    // Tests change the environment between cases; this forgets both stores.
    static void resetForTesting();

private:
    static std::unique_ptr<QSettings> open(const QString& name);
};
