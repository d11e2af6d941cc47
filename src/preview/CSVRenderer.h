#pragma once

#include "platform/Error.h"

#include <QByteArrayView>
#include <QChar>
#include <QString>
#include <QStringList>
#include <QStringView>
#include <filesystem>
#include <vector>

// Comma-, tab- or semicolon-separated bytes to an HTML fragment: a summary line and
// a table with row numbers and right-aligned numbers.
namespace CSVRenderer {

using Table = std::vector<QStringList>;

inline constexpr int kShownRows = 2000;

// BOM, UTF-16, UTF-8, Shift_JIS, then UTF-8 with replacement; never fails.
QString decode(QByteArrayView data);
// Like decode, but only the text of the first `rows` rows (by the parser's rules)
// is decoded, while the whole data still decides the encoding. For huge files.
QString decodePrefix(QByteArrayView data, QChar delimiter, int rows);
QChar delimiter(QStringView text, QStringView fileExtension);
Table parse(QStringView text, QChar delimiter, int limit);
// The numeric pattern, on a cell with spaces and tabs trimmed.
bool isNumeric(QStringView cell);
QString render(const Table& table, QChar delimiter, bool truncated);
// decode, choose the delimiter, parse 2,001 rows, render 2,000.
QString renderFile(QByteArrayView data, QStringView fileExtension);
// The same for a file, read in pieces: only the text of the shown rows is kept and
// decoded while the rest is checked for the encoding. Fails only when it cannot be read.
Result<QString> renderFile(const std::filesystem::path& file);

// The page's extra style sheet for the table, one line break after each rule.
QString tableStyleSheet();

} // namespace CSVRenderer
