#pragma once

#include <QByteArray>
#include <QList>
#include <filesystem>
#include <vector>

// What a launch of `quillo` asks to show. Arguments are raw bytes from argv; the
// first instance resolves them, so a hand-over sends them as they were typed.
namespace LaunchArguments {

// The item arguments: options are skipped (everything after "--" is an item),
// file URIs become their path bytes and other URIs are dropped.
QList<QByteArray> items(int argc, char** argv);

// Absolute, standardized paths; relative ones are taken against the launch's folder.
std::vector<std::filesystem::path> resolved(const QList<QByteArray>& items,
                                            const std::filesystem::path& workingFolder);

} // namespace LaunchArguments
