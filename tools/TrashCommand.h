#pragma once

#include <string>
#include <vector>

// `quillo-tool trash PATH...`: moves each item to the Trash and prints one line per
// item, "ORIGINAL<TAB>TRASHED" with both paths escaped byte by byte. A failure is
// reported on standard error and the other items still go. Returns the exit status.
int runTrashCommand(const std::vector<std::string>& arguments);
