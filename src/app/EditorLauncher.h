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

    // The editor in use, looked up again at most every few seconds.
    static std::optional<ExternalApp> selected(const std::optional<QString>& identifier);

    // Why エディタで開く does nothing with the stored choice; empty when an editor is there.
    static QString unavailableReason();

    // Opens the paths in the chosen editor, looking afresh at what is installed; false
    // when there are none, no editor is installed, or it could not be started.
    static bool open(const std::vector<std::filesystem::path>& paths,
                     const std::optional<QString>& identifier);
};
