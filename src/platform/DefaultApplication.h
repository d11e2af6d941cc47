#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>

namespace DefaultApplication {

// Why a file did not open.
struct OpenFailure {
    bool noApplication = false; // no application is registered for its type
    QString detail;             // otherwise the desktop's own description
};

// Opens a file with the desktop's default application for its type, through GIO.
// The URI is built from the raw path bytes.
std::expected<void, OpenFailure> open(const std::filesystem::path& path);

} // namespace DefaultApplication
