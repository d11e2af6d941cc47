#pragma once

#include "platform/Error.h"

#include <filesystem>
#include <string>
#include <vector>

// Starts programs that outlive the request: terminals, editors, the scripts that
// swap or move Quillo after it quits. Arguments and the working folder are bytes,
// so names that are not UTF-8 arrive intact; no shell reads them.
namespace DetachedProcess {

struct Options {
    std::filesystem::path workingFolder; // empty: ours
    bool newSession = true;              // survives our exit and our terminal closing
};

// argv[0] is looked up on PATH when it has no slash. Standard input and output go to
// /dev/null, standard error stays ours. The child is reaped in the background. Gives
// the child's process id, or the error of a program that could not be started.
Result<int> start(const std::vector<std::string>& argv, const Options& options = {});

} // namespace DetachedProcess
