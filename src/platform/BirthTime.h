#pragma once

#include <QDateTime>
#include <filesystem>
#include <optional>

// When a file was created, where the file system records it (statx birth time);
// none on file systems and kernels that do not. Follows links, as the file's other
// facts in a card do.
std::optional<QDateTime> birthTime(const std::filesystem::path& file);
