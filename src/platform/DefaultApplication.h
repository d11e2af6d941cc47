#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>
#include <string_view>

namespace DefaultApplication {

// Quillo's own desktop file id, which open() passes over.
inline constexpr const char* kOwnDesktopId = "app.quillo.Quillo.desktop";

// Why a file did not open.
struct OpenFailure {
    bool noApplication = false; // no application is registered for its type
    QString detail;             // otherwise the desktop's own description
};

// Opens a file with the desktop's default application for its type, through GIO,
// passing over Quillo itself. The file is handed over by its raw path bytes.
std::expected<void, OpenFailure> open(const std::filesystem::path& path);

} // namespace DefaultApplication
