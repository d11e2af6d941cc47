#pragma once

#include "palette/FuzzyMatch.h"

#include <QString>
#include <array>
#include <optional>

// Subsequence matcher shared by every search field that filters a list by typed text.
namespace FuzzyMatcher {

// Characters after which a word starts.
inline constexpr std::array<char16_t, 9> separators = {
    u' ', u'/', u'-', u'_', u'.', u'\u203A', u'\u3000', u'\uFF08', u'(',
};

// None when the query's characters (white space ignored, case ignored) do not all occur
// in order in the text.
std::optional<FuzzyMatch> match(const QString& query, const QString& text);

} // namespace FuzzyMatcher
