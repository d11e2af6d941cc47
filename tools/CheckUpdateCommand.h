#pragma once

#include <string>
#include <vector>

// `quillo-tool check-update [--url URL] [--current VERSION]`: asks the release manifest
// (by default the one Quillo asks) and prints "available<TAB>VERSION<TAB>DOWNLOAD-URL"
// or "up-to-date" (exit 0), or "failed<TAB>message" (exit 1).
int runCheckUpdateCommand(const std::vector<std::string>& arguments);

void printCheckUpdateUsage();
