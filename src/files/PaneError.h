#pragma once

#include "platform/Error.h"

#include <QString>
#include <filesystem>

// What a pane shows in place of its list when the folder cannot be read.
struct PaneError {
    QString message;
    bool needsPermission = false; // never on Linux: mode bits are the only refusal

    bool operator==(const PaneError&) const = default;
};

// Turns a reading failure of `folder` into the message people see.
PaneError paneError(const Error& error, const std::filesystem::path& folder);
