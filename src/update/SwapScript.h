#pragma once

#include <filesystem>
#include <string>
#include <vector>

// The /bin/sh script that replaces the installed bundle once Quillo has quit: it
// exchanges the two bundles in one step with the new bundle's quillo-tool, or, where
// the file system cannot, renames the installed bundle to its ".previous" sibling, renames the
// staged bundle (a sibling too, so both are plain renames) into its place, puts the previous one
// back if that fails, starts Quillo from the installed place and removes what the
// update left. A kill at any point leaves a complete bundle: before the first rename
// the old one is installed, between the renames it is the ".previous" sibling, after
// them the new one is installed.
namespace SwapScript {

struct Swap {
    std::filesystem::path installed;  // the bundle Quillo runs from
    std::filesystem::path staged;     // the verified new bundle, beside `installed`
    std::filesystem::path workFolder; // the update's working folder, removed at the end
    int pid = 0;                      // the Quillo that must have quit first
};

struct Step {
    std::string name; // "wait", "exchange", "setAside", "moveIn", "launch", "cleanUp"
    std::string text;
};

// The script's steps in order; every path is shell-quoted.
std::vector<Step> steps(const Swap& swap);

// The steps joined; the script removes itself at the end.
std::string script(const Swap& swap);

} // namespace SwapScript
