#pragma once

#include <QByteArrayView>
#include <QString>
#include <optional>

// Text files of unknown encoding to text: byte order marks, UTF-16, UTF-8, then
// Shift_JIS (still common for spreadsheets saved on Japanese Windows).
namespace TextDecoding {

enum class Encoding { utf8Bom, utf16LittleEndian, utf16BigEndian, utf8, shiftJis, utf8Lossy };

// The encoding that the byte order mark names, if any.
std::optional<Encoding> fromByteOrderMark(QByteArrayView data);
// The first encoding that reads all of the data without error; never fails.
Encoding detect(QByteArrayView data);
// The bytes after the byte order mark (if any), as text; invalid bytes become U+FFFD.
QString decode(QByteArrayView data, Encoding encoding);
qsizetype byteOrderMarkLength(Encoding encoding);

// Strict: nothing for bytes that are not Shift_JIS (or characters it cannot map).
std::optional<QString> fromShiftJis(QByteArrayView data);

} // namespace TextDecoding
