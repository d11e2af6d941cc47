#pragma once

#include <QSet>
#include <QString>
#include <expected>
#include <filesystem>
#include <optional>
#include <vector>

// One rule applied to many names at once. Names travel as PathText's storable
// text, so bytes that are not UTF-8 survive where the rule does not touch them.
struct BulkRenameOptions {
    enum class Mode { replace, regex, sequence, changeCase };
    enum class CaseStyle { lower, upper, capitalized };

    Mode mode = Mode::replace;
    QString find;
    QString replacement;
    bool caseSensitive = false;
    QString pattern;
    QString templateText; // regex mode: $0, $1 … refer to the match and its groups
    QString prefix;
    int start = 1;
    int step = 1;
    int digits = 3;
    CaseStyle caseStyle = CaseStyle::lower;
    bool includeExtension = false;

    bool operator==(const BulkRenameOptions&) const = default;

    // "replace", "regex", "sequence", "changeCase"; "lower", "upper", "capitalized".
    static QString rawValue(Mode mode);
    static QString rawValue(CaseStyle style);
    static std::optional<Mode> modeFrom(const QString& raw);
    static std::optional<CaseStyle> caseStyleFrom(const QString& raw);
};

struct BulkRenameItem {
    std::filesystem::path url;
    bool isDirectory = false;
};

struct BulkRenamePreview {
    std::filesystem::path url;
    QString oldName; // storable text
    QString newName; // storable text
    std::optional<QString> problem;
};

// The regular expression does not compile.
struct InvalidPattern {};

namespace BulkRename {

// `name` is storable text; `index` counts from 0 in the selection.
std::expected<QString, InvalidPattern> newName(const QString& name, bool isDirectory, int index,
                                               const BulkRenameOptions& options);

// One row per item, in order. `otherNames` are the lower-cased names (storable
// text) of the folder's items that are not selected. Compiles the pattern once,
// so that 10,000 rows stay quick enough for every keystroke.
std::vector<BulkRenamePreview> preview(const std::vector<BulkRenameItem>& items,
                                       const BulkRenameOptions& options,
                                       const QSet<QString>& otherNames);

} // namespace BulkRename
