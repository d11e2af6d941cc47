#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>

namespace DefaultApplication {

// Opens a file with the desktop's default application for its type, through GIO.
// The URI is built from the raw path bytes. Returns a Japanese message on failure.
std::expected<void, QString> open(const std::filesystem::path& path);

} // namespace DefaultApplication
