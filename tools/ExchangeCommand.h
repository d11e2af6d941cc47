#pragma once

#include <string>
#include <vector>

// `quillo-tool exchange [--] A B`: swaps two items of one file system in one step, so
// that both names always exist. The update's swap script uses it to put a new bundle
// in place; exits 1 with the reason where the file system cannot do it.
int runExchangeCommand(const std::vector<std::string>& arguments);
