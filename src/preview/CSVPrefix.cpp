#include "preview/CSVPrefix.h"

#include "preview/CSVRenderer.h"

namespace {

// 0: no line break at `i`; else its length in bytes; -1: the bytes stop too early to
// tell. Breaks: U+000A to U+000D, U+0085, U+2028, U+2029 (the parser's set).
int lineBreakAt(std::string_view bytes, size_t i, bool last)
{
    const auto c = static_cast<unsigned char>(bytes[i]);
    if (c >= 0x0A && c <= 0x0D)
        return 1;
    if (c != 0xC2 && c != 0xE2)
        return 0;
    const size_t need = c == 0xC2 ? 2 : 3;
    const size_t have = std::min(need, bytes.size() - i);
    const auto at = [&](size_t k) { return static_cast<unsigned char>(bytes[i + k]); };
    if (have >= 2 && at(1) != (c == 0xC2 ? 0x85 : 0x80))
        return 0;
    if (have < need)
        return last ? 0 : -1;
    if (c == 0xC2)
        return 2;
    return at(2) == 0xA8 || at(2) == 0xA9 ? 3 : 0;
}

} // namespace

CSVPrefix::CSVPrefix(QChar delimiter, int rows)
    : m_delimiter(delimiter)
    , m_rows(rows)
{
}

CSVPrefix::CSVPrefix(QStringView fileExtension, int rows)
    : m_extension(fileExtension.toString())
    , m_rows(rows)
{
    const QString lower = m_extension.toLower();
    if (lower == QLatin1String("tsv") || lower == QLatin1String("tab"))
        m_delimiter = QLatin1Char('\t');
}

bool CSVPrefix::feed(std::string_view piece)
{
    if (!m_validator.feed(piece))
        return false;
    if (m_complete)
        return true;
    m_kept.append(piece);
    if (!m_started && m_kept.size() >= 3)
        m_started = true;
    if (m_started) {
        m_skip = m_kept.starts_with("\xEF\xBB\xBF") ? 3 : 0;
        scan(false);
    }
    return true;
}

bool CSVPrefix::finish()
{
    if (!m_validator.finish())
        return false;
    if (!m_complete) {
        m_started = true;
        m_skip = m_kept.starts_with("\xEF\xBB\xBF") ? 3 : 0;
        scan(true);
    }
    return true;
}

QString CSVPrefix::text() const
{
    const std::string_view bytes = content().substr(0, m_end);
    return QString::fromUtf8(bytes.data(), qsizetype(bytes.size()));
}

std::string_view CSVPrefix::content() const
{
    return std::string_view(m_kept).substr(std::min(m_skip, m_kept.size()));
}

void CSVPrefix::scan(bool last)
{
    if (!m_delimiter && !scanFirstLine(last))
        return;
    if (scanRows(last)) {
        m_complete = true;
        m_kept.resize(m_skip + m_end);
    }
}

// The delimiter is chosen from the first line, where every double quote toggles.
bool CSVPrefix::scanFirstLine(bool last)
{
    const std::string_view bytes = content();
    while (m_linePos < bytes.size()) {
        if (bytes[m_linePos] == '"') {
            m_lineQuoted = !m_lineQuoted;
            ++m_linePos;
            continue;
        }
        const int length = m_lineQuoted ? 0 : lineBreakAt(bytes, m_linePos, last);
        if (length < 0)
            return false;
        if (length > 0)
            break;
        ++m_linePos;
    }
    if (m_linePos == bytes.size() && !last)
        return false;
    const std::string_view line = bytes.substr(0, m_linePos);
    m_delimiter =
        CSVRenderer::delimiter(QString::fromUtf8(line.data(), qsizetype(line.size())), m_extension);
    return true;
}

// The parser's rules on bytes: true once `m_rows` rows or all the bytes are seen.
bool CSVPrefix::scanRows(bool last)
{
    const std::string_view bytes = content();
    const char delimiter = char(m_delimiter->unicode());
    while (m_pos < bytes.size()) {
        const char c = bytes[m_pos];
        if (m_inQuotes) {
            if (c == '"') {
                if (m_pos + 1 == bytes.size() && !last)
                    return false;
                if (m_pos + 1 < bytes.size() && bytes[m_pos + 1] == '"') {
                    m_pos += 2;
                    continue;
                }
                m_inQuotes = false;
            }
            ++m_pos;
            continue;
        }
        if (c == '"' && !m_fieldStarted) {
            m_inQuotes = m_fieldStarted = true;
            ++m_pos;
            continue;
        }
        if (c == delimiter) {
            m_fieldStarted = false;
            m_rowStarted = true;
            ++m_pos;
            continue;
        }
        const int length = lineBreakAt(bytes, m_pos, last);
        if (length < 0)
            return false;
        if (length == 0) {
            m_fieldStarted = true;
            ++m_pos;
            continue;
        }
        m_pos += size_t(length);
        // An empty line is no row, as in the parser.
        if ((m_rowStarted || m_fieldStarted) && ++m_found == m_rows) {
            m_end = m_pos;
            return true;
        }
        m_rowStarted = m_fieldStarted = false;
    }
    if (!last)
        return false;
    m_end = bytes.size();
    return true;
}
