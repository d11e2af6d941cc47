#include "GitStatusCommand.h"

#include "core/PathText.h"
#include "insight/GitRepository.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

int runGitStatusCommand(const std::vector<std::string>& arguments)
{
    if (arguments.size() != 1) {
        std::fputs("usage: quillo-tool git-status DIR\n", stderr);
        return 2;
    }
    std::error_code error;
    const fs::path folder = fs::absolute(fs::path(arguments.front()), error);
    if (error)
        return 1;
    const auto root = GitRepository::root(folder);
    const auto snapshot = root ? GitRepository::snapshot(*root) : std::nullopt;
    if (!snapshot)
        return 1;

    std::vector<std::pair<std::string_view, GitFileStatus>> entries(snapshot->statuses.begin(),
                                                                    snapshot->statuses.end());
    std::ranges::sort(entries, {}, [](const auto& entry) { return entry.first; });
    std::string out = snapshot->branch.toStdString() + '\n';
    for (const auto& [path, state] : entries) {
        out += gitStatusName(state);
        out += '\t';
        out += PathText::escapedName(path);
        out += '\n';
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    return std::fflush(stdout) == 0 ? 0 : 1;
}
