#pragma once

#include <QByteArrayView>
#include <QString>

// Text files of unknown encoding to text: byte order marks, UTF-16, UTF-8, then
// Shift_JIS (still common for spreadsheets saved on Japanese Windows).
namespace TextDecoding {

// The first encoding that reads all of the data without error, or else UTF-8 with
// invalid bytes as U+FFFD; a byte order mark is dropped. Never fails.
QString decode(QByteArrayView data);

} // namespace TextDecoding
