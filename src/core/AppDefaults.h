#pragma once

#include <QSettings>
#include <memory>

// Which settings file to use. The store is chosen once, on first use:
// $XDG_CONFIG_HOME/Quillo/S.conf for QUILLO_DEFAULTS_SUITE=S, else the standard
// $XDG_CONFIG_HOME/Quillo/Quillo.conf. The session always lives in the standard one.
// Both are in SettingsFormat; so is every other settings file we write.
class AppDefaults {
public:
    static QSettings& store();
    static QSettings& standard();

    // Writes the settings' changes to disk on one background thread, in the order
    // asked. Reads see a change at once: QSettings objects on one file share it in memory.
    static void save(QSettings& settings);
    // Returns once every save asked for so far is on disk.
    static void flush();

    // Tests change the environment between cases; this forgets both stores.
    static void resetForTesting();

private:
    static std::unique_ptr<QSettings> open(const QString& name);
};
