#include "core/IniText.h"

#include "core/HexDigit.h"
#include "core/IniValues.h"

#include <QStringList>
#include <array>
#include <utility>

namespace {

constexpr char kHex[] = "0123456789ABCDEF";

bool isHexDigit(char16_t c)
{
    return c < 0x80 && hexDigitValue(char(c)) >= 0;
}

// ---- keys: "/" is written "\", bytes outside [A-Za-z0-9_.-] as %XX or %UXXXX.

void escapeKey(const QString& key, QByteArray& out)
{
    for (const QChar qch : key) {
        const char16_t ch = qch.unicode();
        if (ch == '/') {
            out += '\\';
        } else if ((ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') ||
                   (ch >= '0' && ch <= '9') || ch == '_' || ch == '-' || ch == '.') {
            out += char(ch);
        } else if (ch <= 0xFF) {
            out += '%';
            out += kHex[ch / 16];
            out += kHex[ch % 16];
        } else {
            out += "%U";
            for (int shift = 12; shift >= 0; shift -= 4)
                out += kHex[(ch >> shift) & 0xF];
        }
    }
}

QString unescapeKey(QByteArrayView key)
{
    QString result;
    qsizetype i = 0;
    while (i < key.size()) {
        const char ch = key[i];
        if (ch == '\\') {
            result += u'/';
            ++i;
            continue;
        }
        if (ch == '%' && i + 1 < key.size()) {
            const bool wide = key[i + 1] == 'U';
            const qsizetype first = i + (wide ? 2 : 1);
            const int digits = wide ? 4 : 2;
            int value = 0;
            bool ok = first + digits <= key.size();
            for (int d = 0; ok && d < digits; ++d) {
                const int v = hexDigitValue(key[first + d]);
                ok = v >= 0;
                value = value * 16 + v;
            }
            if (ok) {
                result += QChar(char16_t(value));
                i = first + digits;
                continue;
            }
        }
        qsizetype j = i + 1;
        while (j < key.size() && key[j] != '%' && key[j] != '\\')
            ++j;
        result += QString::fromUtf8(key.sliced(i, j - i));
        i = j;
    }
    return result;
}

// ---- values

void escapeString(const QString& text, QByteArray& out)
{
    // Bytes packed into text are written as escapes, everything else as UTF-8.
    const bool packed = text.startsWith(QLatin1String("@ByteArray(")) ||
                        text.startsWith(QLatin1String("@Variant(")) ||
                        text.startsWith(QLatin1String("@DateTime("));
    const qsizetype start = out.size();
    bool needsQuotes = false;
    bool escapeNextIfDigit = false;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t ch = text[i].unicode();
        if (ch == ';' || ch == ',' || ch == '=')
            needsQuotes = true;
        // An escape runs on over hex digits: one that follows must be escaped too.
        if (escapeNextIfDigit && isHexDigit(ch)) {
            out += "\\x" + QByteArray::number(ch, 16);
            continue;
        }
        escapeNextIfDigit = false;
        static constexpr std::array<std::pair<char16_t, const char*>, 8> named{{{'\0', "\\0"},
                                                                                {'\a', "\\a"},
                                                                                {'\b', "\\b"},
                                                                                {'\f', "\\f"},
                                                                                {'\n', "\\n"},
                                                                                {'\r', "\\r"},
                                                                                {'\t', "\\t"},
                                                                                {'\v', "\\v"}}};
        const auto* escape = std::ranges::find(named, ch, &std::pair<char16_t, const char*>::first);
        if (escape != named.end()) {
            out += escape->second;
            escapeNextIfDigit = ch == '\0';
        } else if (ch == '"' || ch == '\\') {
            out += '\\';
            out += char(ch);
        } else if (ch <= 0x1F || (ch >= 0x7F && packed)) {
            out += "\\x" + QByteArray::number(ch, 16);
            escapeNextIfDigit = true;
        } else if (ch < 0x80) {
            out += char(ch);
        } else {
            // A surrogate pair goes out as one UTF-8 sequence.
            const qsizetype units = QChar::isHighSurrogate(ch) && i + 1 < text.size() ? 2 : 1;
            out += QStringView(text).sliced(i, units).toUtf8();
            i += units - 1;
        }
    }
    if (needsQuotes ||
        (start < out.size() && (out.at(start) == ' ' || out.at(out.size() - 1) == ' '))) {
        out.insert(start, '"');
        out += '"';
    }
}

void escapeValue(const QVariant& value, QByteArray& out)
{
    const int type = value.metaType().id();
    if (type != QMetaType::QStringList &&
        (type != QMetaType::QVariantList || value.toList().size() == 1)) {
        escapeString(IniValues::toText(value), out);
        return;
    }
    const QVariantList items = value.toList();
    if (items.isEmpty()) {
        out += "@Invalid()"; // an empty list reads back as one
        return;
    }
    for (qsizetype i = 0; i < items.size(); ++i) {
        if (i != 0)
            out += ", ";
        escapeString(IniValues::toText(items[i]), out);
    }
}

char16_t namedEscape(char c)
{
    static constexpr std::array<std::pair<char, char16_t>, 11> codes{{{'a', '\a'},
                                                                      {'b', '\b'},
                                                                      {'f', '\f'},
                                                                      {'n', '\n'},
                                                                      {'r', '\r'},
                                                                      {'t', '\t'},
                                                                      {'v', '\v'},
                                                                      {'"', '"'},
                                                                      {'?', '?'},
                                                                      {'\'', '\''},
                                                                      {'\\', '\\'}}};
    for (const auto& [code, value] : codes) {
        if (code == c)
            return value;
    }
    return 0;
}

// The escape after a backslash at `i` (already past it), appended to `out`.
void unescapeOne(QByteArrayView text, qsizetype& i, QString& out)
{
    const char e = text[i++];
    if (const char16_t named = namedEscape(e)) {
        out += QChar(named);
    } else if (e == 'x' || (e >= '0' && e <= '7')) {
        const int base = e == 'x' ? 16 : 8;
        int value = e == 'x' ? 0 : e - '0';
        bool any = e != 'x';
        for (; i < text.size(); ++i) {
            const int digit = hexDigitValue(text[i]);
            if (digit < 0 || digit >= base)
                break;
            value = value * base + digit;
            any = true;
        }
        if (any)
            out += QChar(char16_t(value));
    } else if (e == '\n' || e == '\r') {
        // A line continued: \n, \r, \r\n and \n\r all end a line.
        if (i < text.size() && (text[i] == '\n' || text[i] == '\r') && text[i] != e)
            ++i;
    }
    // Any other escaped character is dropped.
}

// A value: a string, or a list when it has a comma outside quotes.
QVariant unescapeValue(QByteArrayView text)
{
    QString current;
    QStringList list;
    bool isList = false, inQuotes = false, quoted = false;
    qsizetype i = 0;
    qsizetype chopLimit = 0; // spaces up to here were escaped or quoted: they stay
    const auto skipSpaces = [&] {
        while (i < text.size() && (text[i] == ' ' || text[i] == '\t'))
            ++i;
        chopLimit = current.size();
    };
    const auto chopSpaces = [&] {
        while (!quoted && current.size() > chopLimit &&
               (current.back() == u' ' || current.back() == u'\t'))
            current.chop(1);
    };
    skipSpaces();
    while (i < text.size()) {
        const char ch = text[i];
        if (ch == '\\') {
            if (++i >= text.size())
                break;
            unescapeOne(text, i, current);
            chopLimit = current.size();
        } else if (ch == '"') {
            ++i;
            quoted = true;
            inQuotes = !inQuotes;
            if (!inQuotes)
                skipSpaces();
        } else if (ch == ',' && !inQuotes) {
            chopSpaces();
            isList = true;
            list.append(std::exchange(current, QString()));
            quoted = false;
            ++i;
            skipSpaces();
        } else {
            qsizetype end = i + 1;
            while (end < text.size() && text[end] != '\\' && text[end] != '"' && text[end] != ',')
                ++end;
            current += QString::fromUtf8(text.sliced(i, end - i));
            i = end;
        }
    }
    chopSpaces();
    if (!isList)
        return IniValues::fromText(current);
    list.append(current);
    return IniValues::fromTexts(list);
}

bool isLineSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

QByteArrayView trimmed(QByteArrayView text)
{
    while (!text.isEmpty() && isLineSpace(text.front()))
        text = text.sliced(1);
    while (!text.isEmpty() && isLineSpace(text.back()))
        text.chop(1);
    return text;
}

// One logical line as Qt splits them: quotes may span lines, a backslash escapes
// the next character, ";" starts a comment. Comment lines are skipped.
struct Line {
    QByteArrayView text;
    qsizetype equals = -1; // the first "=" outside quotes, within text
};

bool nextLine(QByteArrayView data, qsizetype& pos, Line& line)
{
    const qsizetype n = data.size();
    qsizetype start = pos;
    while (start < n && isLineSpace(data[start]))
        ++start;
    qsizetype i = start, equals = -1;
    bool inQuotes = false;
    while (i < n) {
        const char ch = data[i++];
        if (ch == '=' && !inQuotes && equals < 0) {
            equals = i - 1;
        } else if ((ch == '\n' || ch == '\r') && !inQuotes) {
            --i;
            break;
        } else if (ch == '\\' && i < n) {
            const char escaped = data[i++];
            if (i < n && (escaped == '\n' || escaped == '\r') &&
                (data[i] == '\n' || data[i] == '\r') && data[i] != escaped)
                ++i;
        } else if (ch == '"') {
            inQuotes = !inQuotes;
        } else if (ch == ';' && i == start + 1) {
            while (i < n && data[i] != '\n' && data[i] != '\r')
                ++i;
            while (i < n && isLineSpace(data[i]))
                ++i;
            start = i;
        } else if (ch == ';' && !inQuotes) {
            --i;
            break;
        }
    }
    pos = i;
    line.text = data.sliced(start, i - start);
    line.equals = equals < 0 ? -1 : equals - start;
    return i > start;
}

QString sectionName(QByteArrayView header, int& damaged)
{
    qsizetype close = header.indexOf(']');
    if (close < 0) {
        ++damaged;
        close = header.size();
    }
    const QByteArrayView name = trimmed(header.sliced(1, close - 1));
    if (name.compare("general", Qt::CaseInsensitive) == 0)
        return {};
    if (name.compare("%general", Qt::CaseInsensitive) == 0)
        return QString::fromLatin1(name.sliced(1)) + u'/';
    return unescapeKey(name) + u'/';
}
} // namespace

namespace IniText {

Reading parse(QByteArrayView text)
{
    Reading reading;
    if (text.startsWith("\xEF\xBB\xBF"))
        text = text.sliced(3);
    QString section;
    qsizetype pos = 0;
    Line line;
    while (nextLine(text, pos, line)) {
        if (line.text.startsWith('[')) {
            section = sectionName(line.text, reading.damagedLines);
            continue;
        }
        const QByteArrayView key =
            line.equals < 0 ? QByteArrayView() : trimmed(line.text.first(line.equals));
        if (key.isEmpty()) {
            if (!line.text.startsWith(';'))
                ++reading.damagedLines;
            continue;
        }
        reading.values.insert(section + unescapeKey(key),
                              unescapeValue(line.text.sliced(line.equals + 1)));
    }
    return reading;
}

QByteArray encode(const QSettings::SettingsMap& values)
{
    // Keys without a section go first, under [General]; a section of that name is %General.
    QMap<QString, QList<std::pair<QString, QVariant>>> sections;
    for (auto it = values.begin(); it != values.end(); ++it) {
        const qsizetype slash = it.key().indexOf(u'/');
        const QString section = slash < 0 ? QString() : it.key().left(slash);
        sections[section].append({slash < 0 ? it.key() : it.key().mid(slash + 1), it.value()});
    }
    QByteArray out;
    for (auto section = sections.begin(); section != sections.end(); ++section) {
        if (!out.isEmpty())
            out += '\n';
        if (section.key().isEmpty()) {
            out += "[General]";
        } else if (section.key().compare(QLatin1String("general"), Qt::CaseInsensitive) == 0) {
            out += "[%General]";
        } else {
            out += '[';
            escapeKey(section.key(), out);
            out += ']';
        }
        out += '\n';
        for (const auto& [key, value] : *section) {
            escapeKey(key, out);
            out += '=';
            escapeValue(value, out);
            out += '\n';
        }
    }
    return out;
}

} // namespace IniText
