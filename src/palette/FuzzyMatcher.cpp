#include "palette/FuzzyMatcher.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

namespace {

constexpr int64_t matchBonus = 16;
constexpr int64_t textStartBonus = 12;
constexpr int64_t wordStartBonus = 10;
constexpr int64_t consecutiveBonus = 15;
constexpr int64_t maxGapPenalty = 8;
constexpr int64_t maxLengthPenalty = 10;

bool isSeparator(char16_t c)
{
    return std::ranges::find(FuzzyMatcher::separators, c) != FuzzyMatcher::separators.end();
}

// Simple (one code point to one code point) case mapping keeps the UTF-16 length, so a
// lowered text shares its character boundaries with the original.
char16_t lowerUnit(char16_t c)
{
    if (c < 0x80)
        return (c >= u'A' && c <= u'Z') ? char16_t(c + 32) : c;
    return char16_t(u_tolower(c));
}

UChar32 lowerCodePoint(UChar32 c)
{
    return c < 0x80 ? lowerUnit(char16_t(c)) : u_tolower(c);
}

bool isLowerCase(UChar32 c)
{
    return c < 0x80 ? (c >= 'a' && c <= 'z') : u_isULowercase(c);
}

bool isUpperCase(UChar32 c)
{
    return c < 0x80 ? (c >= 'A' && c <= 'Z') : u_isUUppercase(c);
}

// True when the unit forms a character on its own: nothing before U+0300 combines
// except CR LF; above it the grapheme break property tells.
bool standsAlone(char16_t c, char16_t next)
{
    if (c < 0x300)
        return c != u'\r' || next != u'\n';
    if (U16_IS_SURROGATE(c))
        return false;
    switch (u_getIntPropertyValue(c, UCHAR_GRAPHEME_CLUSTER_BREAK)) {
    case U_GCB_OTHER:
    case U_GCB_CONTROL:
        return true;
    default:
        return false;
    }
}

bool eachUnitIsCharacter(std::u16string_view text)
{
    // Latin-1 text without CR, the usual case, is settled four units at a time without
    // property lookups: every unit's high byte is zero and no unit equals CR.
    size_t start = 0;
    for (; start + 4 <= text.size(); start += 4) {
        uint64_t units;
        std::memcpy(&units, text.data() + start, sizeof units);
        const uint64_t cr = units ^ 0x000D'000D'000D'000Dull;
        const uint64_t hasCR = (cr - 0x0001'0001'0001'0001ull) & ~cr & 0x8000'8000'8000'8000ull;
        if ((units & 0xFF00'FF00'FF00'FF00ull) != 0 || hasCR != 0)
            break;
    }
    for (size_t i = start; i < text.size(); ++i) {
        if (!standsAlone(text[i], i + 1 < text.size() ? text[i + 1] : u'\0'))
            return false;
    }
    return true;
}

std::u16string_view viewOf(const QString& text)
{
    return {reinterpret_cast<const char16_t*>(text.utf16()), size_t(text.size())};
}

// Text split into extended grapheme clusters: character i is [bounds[i], bounds[i + 1]).
struct Clusters {
    std::u16string lower;
    std::vector<int> bounds{0};

    int count() const { return int(bounds.size()) - 1; }
    std::u16string_view at(int i) const
    {
        return std::u16string_view(lower).substr(bounds[i], bounds[i + 1] - bounds[i]);
    }
};

std::vector<int> graphemeBounds(std::u16string_view text)
{
    std::vector<int> bounds{0};
    if (eachUnitIsCharacter(text)) {
        for (size_t i = 1; i <= text.size(); ++i)
            bounds.push_back(int(i));
        return bounds;
    }
    thread_local std::unique_ptr<icu::BreakIterator> iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::BreakIterator>(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    }();
    const icu::UnicodeString alias(false, text.data(), int32_t(text.size()));
    iterator->setText(alias);
    iterator->first();
    for (int32_t end = iterator->next(); end != icu::BreakIterator::DONE; end = iterator->next())
        bounds.push_back(end);
    return bounds;
}

// Lower-cases every character; with skipSpace drops characters that begin with white space.
Clusters makeClusters(std::u16string_view text, bool skipSpace)
{
    const std::vector<int> bounds = graphemeBounds(text);
    Clusters clusters;
    clusters.lower.reserve(text.size());
    clusters.bounds.reserve(bounds.size());
    for (size_t k = 0; k + 1 < bounds.size(); ++k) {
        int32_t i = bounds[k];
        UChar32 first;
        U16_GET(text.data(), 0, i, int32_t(text.size()), first);
        if (skipSpace && u_isUWhiteSpace(first))
            continue;
        while (i < bounds[k + 1]) {
            UChar32 c;
            U16_NEXT(text.data(), i, bounds[k + 1], c);
            const UChar32 lowered = lowerCodePoint(c);
            if (U_IS_BMP(lowered)) {
                clusters.lower.push_back(char16_t(lowered));
            } else {
                clusters.lower.push_back(U16_LEAD(lowered));
                clusters.lower.push_back(U16_TRAIL(lowered));
            }
        }
        clusters.bounds.push_back(int(clusters.lower.size()));
    }
    return clusters;
}

// The query prepared once and kept while the same query is matched against many texts.
struct Needle {
    bool ready = false;
    QString query;
    Clusters clusters;
    bool unitsOnly = false; // every character of the needle is one UTF-16 unit
};

const Needle& needleFor(const QString& query)
{
    thread_local Needle needle;
    if (!needle.ready || needle.query != query) {
        needle.ready = true;
        needle.query = query;
        needle.clusters = makeClusters(viewOf(query), true);
        needle.unitsOnly = int(needle.clusters.lower.size()) == needle.clusters.count();
    }
    return needle;
}

// Forward pass to the first complete match, then backward to the shortest span ending there.
template <class Same>
bool locate(int hayCount, int needleCount, Same same, std::vector<int>& positions)
{
    int n = 0;
    int last = -1;
    for (int h = 0; h < hayCount; ++h) {
        if (same(h, n) && ++n == needleCount) {
            last = h;
            break;
        }
    }
    if (last < 0)
        return false;
    positions.resize(needleCount);
    n = needleCount - 1;
    for (int h = last; h >= 0; --h) {
        if (same(h, n)) {
            positions[n] = h;
            if (n-- == 0)
                break;
        }
    }
    return true;
}

// Traits answer questions about character k of the text as given.
template <class Traits>
int64_t scoreOf(const std::vector<int>& positions, int hayCount, const Traits& traits)
{
    int64_t score = 0;
    for (size_t i = 0; i < positions.size(); ++i) {
        const int p = positions[i];
        score += matchBonus;
        if (p == 0)
            score += textStartBonus;
        if (p == 0 || traits.separator(p - 1) || (traits.lower(p - 1) && traits.upper(p)))
            score += wordStartBonus;
        if (i > 0) {
            const int64_t gap = int64_t(p) - positions[i - 1] - 1;
            score += gap == 0 ? consecutiveBonus : -std::min(gap, maxGapPenalty);
        }
    }
    return score - std::min<int64_t>(hayCount / 8, maxLengthPenalty);
}

struct UnitTraits {
    std::u16string_view text;
    bool separator(int k) const { return isSeparator(text[k]); }
    bool lower(int k) const { return isLowerCase(text[k]); }
    bool upper(int k) const { return isUpperCase(text[k]); }
};

struct ClusterTraits {
    std::u16string_view text;
    const std::vector<int>& bounds;
    UChar32 first(int k) const
    {
        UChar32 c;
        U16_GET(text.data(), 0, bounds[k], int32_t(text.size()), c);
        return c;
    }
    bool separator(int k) const
    {
        return bounds[k + 1] - bounds[k] == 1 && isSeparator(text[bounds[k]]);
    }
    bool lower(int k) const { return isLowerCase(first(k)); }
    bool upper(int k) const { return isUpperCase(first(k)); }
};

std::optional<FuzzyMatch> matchClusters(const Clusters& needle, std::u16string_view text)
{
    // Without white-space skipping, and with the length-preserving case mapping, the
    // lowered text keeps the original's boundaries.
    const Clusters hay = makeClusters(text, false);
    FuzzyMatch result;
    const auto same = [&](int h, int n) { return hay.at(h) == needle.at(n); };
    if (hay.count() < needle.count() ||
        !locate(hay.count(), needle.count(), same, result.positions))
        return std::nullopt;
    result.score = scoreOf(result.positions, hay.count(), ClusterTraits{text, hay.bounds});
    return result;
}

} // namespace

std::optional<FuzzyMatch> FuzzyMatcher::match(const QString& query, const QString& text)
{
    const Needle& needle = needleFor(query);
    if (needle.clusters.count() == 0)
        return FuzzyMatch{};
    const std::u16string_view hay = viewOf(text);
    if (!needle.unitsOnly)
        return matchClusters(needle.clusters, hay);

    // A needle of single units found among the text's units is necessary for a match
    // among its characters, so most texts are rejected here without allocating.
    const std::u16string_view units = needle.clusters.lower;
    const int count = int(units.size());
    if (int(hay.size()) < count)
        return std::nullopt;
    const auto same = [&](int h, int n) { return lowerUnit(hay[h]) == units[n]; };
    FuzzyMatch result;
    if (!locate(int(hay.size()), count, same, result.positions))
        return std::nullopt;
    if (!eachUnitIsCharacter(hay))
        return matchClusters(needle.clusters, hay);
    result.score = scoreOf(result.positions, int(hay.size()), UnitTraits{hay});
    return result;
}
