#pragma once

#include "app/ExternalApp.h"

#include <filesystem>
#include <optional>
#include <vector>

// The user's code editor: which one, and handing files and folders to it.
class EditorLauncher {
public:
    // Known editors in fallback order, each under its installed desktop id.
    static std::vector<ExternalApp> catalogue();

    static std::optional<ExternalApp> selected(const std::optional<QString>& identifier);

    // Opens the paths in the chosen editor; false when there are none, no editor
    // is installed, or it could not be started.
    static bool open(const std::vector<std::filesystem::path>& paths,
                     const std::optional<QString>& identifier);
};
