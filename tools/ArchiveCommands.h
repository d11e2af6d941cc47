#pragma once

#include <string>
#include <vector>

// `quillo-tool compress PATH...` and `quillo-tool expand ARCHIVE`: print the path of
// what they made, or the Japanese message and exit 1. Ctrl+C cancels and leaves nothing.
int runCompressCommand(const std::vector<std::string>& arguments);
int runExpandCommand(const std::vector<std::string>& arguments);
void printArchiveUsage();
