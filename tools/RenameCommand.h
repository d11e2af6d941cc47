#pragma once

#include <string>
#include <vector>

// `quillo-tool rename [--dry-run] --mode replace|regex|sequence|case [rule options] PATH...`:
// one rule over the paths in the given order, all in one folder (the folder's other
// items are the unselected names). Prints "old<TAB>new<TAB>problem" per item. A rule
// with problems changes nothing and exits 1; --dry-run changes nothing.
int runRenameCommand(const std::vector<std::string>& arguments);
void printRenameUsage();
