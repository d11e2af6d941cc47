#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <string>
#include <vector>

// The pieces of the /bin/sh scripts that run once Quillo has quit: after an update
// (swap the bundle, start the new one) and after a move (start from the new place).
// Every path is shell-quoted; paths passed in are absolute, so none starts with a dash.
namespace RelaunchScript {

// Loops while the process lives: "while kill -0 PID 2>/dev/null; do sleep 0.2; done".
std::string waitForExit(int pid);

// Starts `binary` in the background with every QUILLO_ variable of this process but
// the excluded ones, each given explicitly, so the script means the same whoever runs it.
std::string launch(const std::filesystem::path& binary, const std::vector<std::string>& excluded);

// The QUILLO_ variables of this process, name and value as bytes, sorted by name.
std::vector<std::pair<std::string, std::string>> quilloVariables();

// Writes the script into `folder` (under a fresh name) and starts it detached
// with /bin/sh. The script should remove itself ("$0") when done.
Result<std::filesystem::path> start(const std::string& script, const std::filesystem::path& folder);

} // namespace RelaunchScript
