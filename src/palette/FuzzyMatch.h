#pragma once

#include <cstdint>
#include <vector>

// Result of matching a query against one text.
struct FuzzyMatch {
    // Higher is better; may be negative.
    int64_t score = 0;
    // Indices of the matched characters (grapheme clusters) of the text, ascending.
    std::vector<int> positions;

    bool operator==(const FuzzyMatch&) const = default;
};
