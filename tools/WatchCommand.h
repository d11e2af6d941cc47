#pragma once

#include <string>
#include <vector>

// `quillo-tool watch DIR [--seconds N]`: prints each batch of changed paths on one
// line (paths escaped byte by byte, separated by tabs) until N seconds have passed
// (forever without --seconds). Returns the exit status.
int runWatchCommand(const std::vector<std::string>& arguments);
