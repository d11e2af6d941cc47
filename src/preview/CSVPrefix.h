#pragma once

#include "preview/Utf8Validator.h"

#include <QChar>
#include <QString>
#include <QStringView>
#include <optional>
#include <string>
#include <string_view>

// The part of a CSV file that the preview shows, gathered from its bytes piece by
// piece: the bytes of the first rows (by the parser's rules) are kept, the rest is
// only checked to be UTF-8. Works on UTF-8 (with or without a byte order mark); the
// caller decodes other files whole.
class CSVPrefix {
public:
    // With the delimiter known, or chosen from the extension and the first line.
    CSVPrefix(QChar delimiter, int rows);
    CSVPrefix(QStringView fileExtension, int rows);

    // False as soon as the bytes cannot be UTF-8: feeding can stop.
    bool feed(std::string_view piece);
    // After the last piece: true when all of it was UTF-8.
    bool finish();

    QChar delimiter() const { return m_delimiter.value_or(QLatin1Char(',')); }
    // The text of the kept rows.
    QString text() const;

private:
    void scan(bool last);
    bool scanFirstLine(bool last);
    bool scanRows(bool last);
    std::string_view content() const;

    QString m_extension;
    std::optional<QChar> m_delimiter;
    int m_rows;
    Utf8Validator::Stream m_validator;
    std::string m_kept;
    bool m_started = false;
    size_t m_skip = 0; // the byte order mark
    bool m_complete = false;
    size_t m_end = 0;

    // Scanning state, as offsets into the content after the mark.
    size_t m_linePos = 0;
    bool m_lineQuoted = false;
    size_t m_pos = 0;
    bool m_inQuotes = false;
    bool m_fieldStarted = false;
    bool m_rowStarted = false;
    int m_found = 0;
};
