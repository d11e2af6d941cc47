#pragma once

#include <string>
#include <vector>

// `quillo-tool git-status DIR`: the branch on the first line, then one line per
// status entry, "CASE<TAB>root-relative path", sorted by path. Outside a working
// tree (or when git fails) it prints nothing and exits 1.
int runGitStatusCommand(const std::vector<std::string>& arguments);
