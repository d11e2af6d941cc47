#include "core/ShellQuote.h"

namespace ShellQuote {

std::string quote(std::string_view text)
{
    std::string out = "'";
    for (const char c : text) {
        if (c == '\'')
            out += "'\\''";
        else
            out += c;
    }
    return out + "'";
}

} // namespace ShellQuote
