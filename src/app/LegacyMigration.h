#pragma once

#include <QSettings>
#include <filesystem>

// The one-time import from Tarv, the program Quillo replaces: its settings
// ($XDG_CONFIG_HOME/Tarv/Tarv.conf) and its data folder ($XDG_DATA_HOME/tarv).
namespace LegacyMigration {

inline constexpr const char* kDoneKey = "migratedFromTarv";

// Copies each Tarv setting whose key (with every "tarv." made "quillo.") is unset
// in `standard`, moves `dataHome`/tarv to `dataHome`/Quillo when only the former
// exists, and marks the migration done even when nothing was found.
void runIfNeeded(QSettings& standard, const std::filesystem::path& dataHome);

} // namespace LegacyMigration
