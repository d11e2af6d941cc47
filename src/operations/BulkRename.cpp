#include "operations/BulkRename.h"

#include "core/PathText.h"
#include "operations/FileNaming.h"

#include <QHash>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <unicode/regex.h>
#include <unicode/ubrk.h>
#include <unicode/ustring.h>

using Mode = BulkRenameOptions::Mode;
using CaseStyle = BulkRenameOptions::CaseStyle;

namespace {

constexpr const char* kModeValues[] = {"replace", "regex", "sequence", "changeCase"};
constexpr const char* kCaseStyleValues[] = {"lower", "upper", "capitalized"};

// Case mapping and word breaks follow the root locale, whatever the system's is.
constexpr const char* kCaseLocale = "";

// A read-only ICU view of the text, without a copy.
icu::UnicodeString alias(const QString& text)
{
    return icu::UnicodeString(false, reinterpret_cast<const UChar*>(text.utf16()),
                              int32_t(text.size()));
}

QString fromIcu(const icu::UnicodeString& text)
{
    return QString(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
}

// One of ICU's whole-string case mappings; the result may be longer than the input (ß → SS).
template <typename Map>
QString mapCase(const QString& text, Map map)
{
    const auto* source = reinterpret_cast<const UChar*>(text.utf16());
    QString out(text.size() + 8, Qt::Uninitialized);
    UErrorCode status = U_ZERO_ERROR;
    int32_t length = map(reinterpret_cast<UChar*>(out.data()), int32_t(out.size()), source,
                         int32_t(text.size()), &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
        out.resize(length);
        status = U_ZERO_ERROR;
        length = map(reinterpret_cast<UChar*>(out.data()), int32_t(out.size()), source,
                     int32_t(text.size()), &status);
    }
    if (U_FAILURE(status))
        return text;
    out.truncate(length);
    return out;
}

// The rule made ready once (compiled expression, word breaks) for any number of names.
class Renamer {
public:
    explicit Renamer(const BulkRenameOptions& options);
    ~Renamer();
    Renamer(const Renamer&) = delete;
    Renamer& operator=(const Renamer&) = delete;

    bool patternInvalid() const { return m_patternInvalid; }
    std::expected<QString, InvalidPattern> newName(const QString& name, bool isDirectory,
                                                   int index);

private:
    QString numbered(const QString& ext, int index) const;
    std::expected<QString, InvalidPattern> replaceMatches(const QString& base);
    QString changeCase(const QString& base);

    const BulkRenameOptions& m_options;
    std::unique_ptr<icu::RegexMatcher> m_matcher;
    icu::UnicodeString m_template;
    bool m_patternInvalid = false;
    UBreakIterator* m_words = nullptr;
};

Renamer::Renamer(const BulkRenameOptions& options)
    : m_options(options)
{
    if (options.mode == Mode::regex && !options.pattern.isEmpty()) {
        UErrorCode status = U_ZERO_ERROR;
        const uint32_t flags = options.caseSensitive ? 0 : UREGEX_CASE_INSENSITIVE;
        m_matcher = std::make_unique<icu::RegexMatcher>(alias(options.pattern), flags, status);
        if (U_FAILURE(status)) {
            m_matcher.reset();
            m_patternInvalid = true;
        }
        m_template = alias(options.templateText);
    }
    if (options.mode == Mode::changeCase && options.caseStyle == CaseStyle::capitalized) {
        // Opening a word iterator costs far more than titling a short name.
        UErrorCode status = U_ZERO_ERROR;
        m_words = ubrk_open(UBRK_WORD, kCaseLocale, nullptr, 0, &status);
        if (U_FAILURE(status))
            m_words = nullptr;
    }
}

Renamer::~Renamer()
{
    if (m_words)
        ubrk_close(m_words);
}

std::expected<QString, InvalidPattern> Renamer::newName(const QString& name, bool isDirectory,
                                                        int index)
{
    const FileNaming::SplitName parts = FileNaming::split(name, isDirectory);
    if (m_options.mode == Mode::sequence)
        return numbered(parts.ext, index);
    const QString& base = m_options.includeExtension ? name : parts.base;
    QString result;
    switch (m_options.mode) {
    case Mode::replace:
        if (m_options.find.isEmpty())
            return name;
        result = QString(base).replace(m_options.find, m_options.replacement,
                                       m_options.caseSensitive ? Qt::CaseSensitive
                                                               : Qt::CaseInsensitive);
        break;
    case Mode::regex: {
        if (m_options.pattern.isEmpty())
            return name;
        auto replaced = replaceMatches(base);
        if (!replaced)
            return replaced;
        result = std::move(*replaced);
        break;
    }
    case Mode::changeCase:
        result = changeCase(base);
        break;
    case Mode::sequence:
        break;
    }
    if (!m_options.includeExtension && !parts.ext.isEmpty())
        result += QLatin1Char('.') + parts.ext;
    return result;
}

// Numbering keeps the extension even when the rule covers it: it never removes one.
QString Renamer::numbered(const QString& ext, int index) const
{
    // Both factors are 32-bit, so the 64-bit sum cannot overflow.
    const long long number = (long long)m_options.start + (long long)index * m_options.step;
    const int width = std::clamp(m_options.digits, 1, 10);
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*lld", width, number);
    QString out = m_options.prefix + QLatin1String(digits);
    if (!ext.isEmpty())
        out += QLatin1Char('.') + ext;
    return out;
}

std::expected<QString, InvalidPattern> Renamer::replaceMatches(const QString& base)
{
    if (!m_matcher)
        return std::unexpected(InvalidPattern{});
    const icu::UnicodeString input = alias(base);
    m_matcher->reset(input);
    UErrorCode status = U_ZERO_ERROR;
    const icu::UnicodeString out = m_matcher->replaceAll(m_template, status);
    // A template that names a group the expression lacks fails only here, at a match.
    if (U_FAILURE(status))
        return std::unexpected(InvalidPattern{});
    return fromIcu(out);
}

QString Renamer::changeCase(const QString& base)
{
    switch (m_options.caseStyle) {
    case CaseStyle::lower:
        return mapCase(base, [](UChar* d, int32_t c, const UChar* s, int32_t l, UErrorCode* e) {
            return u_strToLower(d, c, s, l, kCaseLocale, e);
        });
    case CaseStyle::upper:
        return mapCase(base, [](UChar* d, int32_t c, const UChar* s, int32_t l, UErrorCode* e) {
            return u_strToUpper(d, c, s, l, kCaseLocale, e);
        });
    case CaseStyle::capitalized:
        break;
    }
    return mapCase(base, [this](UChar* d, int32_t c, const UChar* s, int32_t l, UErrorCode* e) {
        return u_strToTitle(d, c, s, l, m_words, kCaseLocale, e);
    });
}

// QString::toLower walks the Unicode tables for every character, which is most of a
// preview's time; most names are ASCII, and many have no capital at all.
QString lowerCased(const QString& name)
{
    bool capital = false;
    for (const QChar c : name) {
        if (c.unicode() >= 0x80)
            return name.toLower();
        capital = capital || (c >= QLatin1Char('A') && c <= QLatin1Char('Z'));
    }
    if (!capital)
        return name;
    QString out = name;
    for (QChar& c : out) {
        if (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
            c = QChar(c.unicode() + ('a' - 'A'));
    }
    return out;
}

// Problems after the rule itself succeeded: the name check, then collisions, which are
// case-insensitive as on the folders people share with other systems. Unchanged rows
// still count as names that others must not take.
void markProblems(std::vector<BulkRenamePreview>& rows, const QSet<QString>& otherNames)
{
    std::vector<QString> lowered;
    lowered.reserve(rows.size());
    QHash<QString, int> counts;
    counts.reserve(qsizetype(rows.size()));
    for (const BulkRenamePreview& row : rows) {
        lowered.push_back(lowerCased(row.newName));
        ++counts[lowered.back()];
    }
    for (size_t i = 0; i < rows.size(); ++i) {
        BulkRenamePreview& row = rows[i];
        // A name the rule leaves alone is not renamed, so it cannot clash: Linux folders
        // may hold "README" beside "readme".
        if (row.newName == row.oldName)
            continue;
        row.problem = FileNaming::validationError(row.newName);
        if (row.problem)
            continue;
        if (otherNames.contains(lowered[i]))
            row.problem = QStringLiteral("同じ名前の項目がすでにあります。");
        else if (counts.value(lowered[i]) > 1)
            row.problem = QStringLiteral("ほかの項目と同じ名前になります。");
    }
}

// The storable form without PathText's byte-by-byte walk for the usual valid name.
QString storableName(const std::filesystem::path& path)
{
    const std::string_view whole(path.native());
    const std::string_view name = whole.substr(whole.rfind('/') + 1);
    if (PathText::isValidUtf8(name))
        return QString::fromUtf8(name.data(), qsizetype(name.size()));
    return PathText::toStorableText(std::filesystem::path(name));
}

} // namespace

QString BulkRenameOptions::rawValue(Mode mode)
{
    return QLatin1String(kModeValues[int(mode)]);
}

QString BulkRenameOptions::rawValue(CaseStyle style)
{
    return QLatin1String(kCaseStyleValues[int(style)]);
}

std::optional<BulkRenameOptions::Mode> BulkRenameOptions::modeFrom(const QString& raw)
{
    for (int i = 0; i < int(std::size(kModeValues)); ++i) {
        if (raw == QLatin1String(kModeValues[i]))
            return Mode(i);
    }
    return std::nullopt;
}

std::optional<BulkRenameOptions::CaseStyle> BulkRenameOptions::caseStyleFrom(const QString& raw)
{
    for (int i = 0; i < int(std::size(kCaseStyleValues)); ++i) {
        if (raw == QLatin1String(kCaseStyleValues[i]))
            return CaseStyle(i);
    }
    return std::nullopt;
}

namespace BulkRename {

std::expected<QString, InvalidPattern> newName(const QString& name, bool isDirectory, int index,
                                               const BulkRenameOptions& options)
{
    return Renamer(options).newName(name, isDirectory, index);
}

std::vector<BulkRenamePreview> preview(const std::vector<BulkRenameItem>& items,
                                       const BulkRenameOptions& options,
                                       const QSet<QString>& otherNames)
{
    Renamer renamer(options);
    std::vector<BulkRenamePreview> rows;
    rows.reserve(items.size());
    bool invalid = renamer.patternInvalid();
    for (size_t i = 0; i < items.size(); ++i) {
        BulkRenamePreview row{items[i].url, storableName(items[i].url), {}, {}};
        if (!invalid) {
            auto name = renamer.newName(row.oldName, items[i].isDirectory, int(i));
            invalid = !name;
            row.newName = name ? std::move(*name) : row.oldName;
        }
        rows.push_back(std::move(row));
    }
    if (!invalid) {
        markProblems(rows, otherNames);
        return rows;
    }
    // A template error shows only at a match; it condemns the whole rule all the same.
    for (BulkRenamePreview& row : rows) {
        row.newName = row.oldName;
        row.problem = QStringLiteral("正規表現が正しくありません。");
    }
    return rows;
}

} // namespace BulkRename
