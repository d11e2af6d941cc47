#pragma once

#include <string>
#include <string_view>

// Text for the scripts Quillo writes (the `quillo` launcher, the swap after an update,
// the relaunch after a move): any bytes as one word of /bin/sh, newlines, quotes,
// backslashes, "$(...)" and a leading dash included.
namespace ShellQuote {

// Single-quoted; a single quote inside becomes '\''.
std::string quote(std::string_view text);

} // namespace ShellQuote
