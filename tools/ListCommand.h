#pragma once

#include <string>
#include <vector>

// `quillo-tool list`: one folder level, sorted as a pane sorts it, one line per item.
// Arguments are raw bytes so that any folder name can be given. Returns the exit status.
int runListCommand(const std::vector<std::string>& arguments);

// The usage text of every command, for bad command lines.
void printUsage();
