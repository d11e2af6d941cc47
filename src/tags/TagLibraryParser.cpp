#include "tags/TagLibraryParser.h"

#include "core/HexDigit.h"

#include <optional>

namespace {

constexpr int kMaxDepth = 64;

// A record of the wrong kind: left out, the library marked as damaged.
bool damage(TagLibraryFile::Reading& out)
{
    out.status = TagLibraryFile::ReadStatus::damaged;
    return true;
}

// A recursive-descent reader over the bytes. Every read returns false on a
// syntax error, after which the whole document is unusable.
class Reader {
public:
    explicit Reader(QByteArrayView json)
        : m_p(json.data())
        , m_end(json.data() + json.size())
    {
    }

    bool document(TagLibraryFile::Reading& out);

private:
    void space()
    {
        while (m_p < m_end && (*m_p == ' ' || *m_p == '\n' || *m_p == '\r' || *m_p == '\t'))
            ++m_p;
    }
    bool take(char c)
    {
        space();
        if (m_p < m_end && *m_p == c) {
            ++m_p;
            return true;
        }
        return false;
    }
    bool peek(char c)
    {
        space();
        return m_p < m_end && *m_p == c;
    }
    bool literal(const char* word);
    bool string(QString& out);
    bool escape(QString& out);
    bool number();
    bool skipValue(int depth);
    // Calls member(key) for each member of an object; member reads the value.
    template <typename Member>
    bool object(Member&& member);
    // Calls element() for each element of an array; element reads the value.
    template <typename Element>
    bool array(Element&& element);
    bool tag(TagLibraryFile::Reading& out);
    bool item(TagLibraryFile::Reading& out);
    bool uuidList(TagIDSet& ids, bool& valid);

    const char* m_p;
    const char* m_end;
};

bool Reader::literal(const char* word)
{
    space();
    const char* p = m_p;
    for (; *word; ++word, ++p) {
        if (p >= m_end || *p != *word)
            return false;
    }
    m_p = p;
    return true;
}

bool Reader::number()
{
    space();
    const char* start = m_p;
    if (m_p < m_end && *m_p == '-')
        ++m_p;
    while (m_p < m_end && ((*m_p >= '0' && *m_p <= '9') || *m_p == '.' || *m_p == 'e' ||
                           *m_p == 'E' || *m_p == '+' || *m_p == '-'))
        ++m_p;
    return m_p > start && !(m_p == start + 1 && *start == '-');
}

bool Reader::escape(QString& out)
{
    if (m_p >= m_end)
        return false;
    const char c = *m_p++;
    switch (c) {
    case '"':
        out += u'"';
        return true;
    case '\\':
        out += u'\\';
        return true;
    case '/':
        out += u'/';
        return true;
    case 'b':
        out += u'\b';
        return true;
    case 'f':
        out += u'\f';
        return true;
    case 'n':
        out += u'\n';
        return true;
    case 'r':
        out += u'\r';
        return true;
    case 't':
        out += u'\t';
        return true;
    case 'u': {
        if (m_end - m_p < 4)
            return false;
        char16_t unit = 0;
        for (int i = 0; i < 4; ++i) {
            const int digit = hexDigitValue(*m_p++);
            if (digit < 0)
                return false;
            unit = char16_t(unit * 16 + digit);
        }
        // UTF-16 units go in as they are; a surrogate pair meets its other half.
        out += QChar(unit);
        return true;
    }
    default:
        return false;
    }
}

bool Reader::string(QString& out)
{
    if (!take('"'))
        return false;
    out.clear();
    for (;;) {
        const char* run = m_p;
        while (m_p < m_end && *m_p != '"' && *m_p != '\\' && uchar(*m_p) >= 0x20)
            ++m_p;
        if (m_p > run) {
            if (out.isEmpty() && m_p < m_end && *m_p == '"')
                out = QString::fromUtf8(run, m_p - run); // the common case: no escapes
            else
                out += QString::fromUtf8(run, m_p - run);
        }
        if (m_p >= m_end || uchar(*m_p) < 0x20)
            return false;
        if (*m_p++ == '"')
            return true;
        if (!escape(out))
            return false;
    }
}

template <typename Member>
bool Reader::object(Member&& member)
{
    if (!take('{'))
        return false;
    if (take('}'))
        return true;
    QString key;
    do {
        if (!string(key) || !take(':') || !member(key))
            return false;
    } while (take(','));
    return take('}');
}

template <typename Element>
bool Reader::array(Element&& element)
{
    if (!take('['))
        return false;
    if (take(']'))
        return true;
    do {
        if (!element())
            return false;
    } while (take(','));
    return take(']');
}

bool Reader::skipValue(int depth)
{
    if (depth > kMaxDepth)
        return false;
    space();
    if (m_p >= m_end)
        return false;
    QString ignored;
    switch (*m_p) {
    case '{':
        return object([&](const QString&) { return skipValue(depth + 1); });
    case '[':
        return array([&] { return skipValue(depth + 1); });
    case '"':
        return string(ignored);
    case 't':
        return literal("true");
    case 'f':
        return literal("false");
    case 'n':
        return literal("null");
    default:
        return number();
    }
}

bool Reader::tag(TagLibraryFile::Reading& out)
{
    QString id, name, color;
    const bool read = object([&](const QString& key) {
        if (peek('"')) {
            if (key == u"id")
                return string(id);
            if (key == u"name")
                return string(name);
            if (key == u"color")
                return string(color);
        }
        return skipValue(1);
    });
    if (!read)
        return false;
    if (auto tag = TagLibraryFile::tagFromFields(id, name, color))
        out.library.tags.append(*tag);
    else
        out.status = TagLibraryFile::ReadStatus::damaged;
    return true;
}

// A bad id is left out on its own; the item keeps the others.
bool Reader::uuidList(TagIDSet& ids, bool& valid)
{
    QString text;
    return array([&] {
        if (!peek('"')) {
            valid = false;
            return skipValue(1);
        }
        if (!string(text))
            return false;
        const QUuid id = QUuid::fromString(text);
        if (id.isNull())
            valid = false;
        else
            ids.insert(id);
        return true;
    });
}

bool Reader::item(TagLibraryFile::Reading& out)
{
    QString path, bookmark;
    TagIDSet ids;
    bool valid = true;
    bool hasBookmark = false;
    const bool read = object([&](const QString& key) {
        if (key == u"path" && peek('"'))
            return string(path);
        if (key == u"bookmark" && peek('"')) {
            hasBookmark = true;
            return string(bookmark);
        }
        if (key == u"tagIDs" && peek('['))
            return uuidList(ids, valid);
        return skipValue(1);
    });
    if (!read)
        return false;
    auto item = TagLibraryFile::itemFromFields(path, ids, hasBookmark ? &bookmark : nullptr);
    if (!item && hasBookmark) {
        // Without its bookmark the item is still found by its path.
        valid = false;
        item = TagLibraryFile::itemFromFields(path, ids, nullptr);
    }
    if (!valid || !item)
        out.status = TagLibraryFile::ReadStatus::damaged;
    if (item && !item->tagIDs.isEmpty())
        out.library.items.insert(item->path, std::move(*item));
    return true;
}

bool Reader::document(TagLibraryFile::Reading& out)
{
    bool sawTags = false, sawItems = false;
    const bool read = object([&](const QString& key) {
        if (key == u"tags" && peek('[')) {
            sawTags = true;
            return array([&] { return peek('{') ? tag(out) : skipValue(1) && damage(out); });
        }
        if (key == u"items" && peek('[')) {
            sawItems = true;
            return array([&] { return peek('{') ? item(out) : skipValue(1) && damage(out); });
        }
        if (key == u"manualOrder" && (peek('t') || peek('f'))) {
            out.library.manualOrder = peek('t');
            return literal(out.library.manualOrder ? "true" : "false");
        }
        return skipValue(1);
    });
    space();
    return read && m_p == m_end && sawTags && sawItems;
}

} // namespace

namespace TagLibraryParser {

TagLibraryFile::Reading parse(QByteArrayView json)
{
    TagLibraryFile::Reading reading;
    reading.status = TagLibraryFile::ReadStatus::ok;
    // An item takes a little under 300 bytes as we write it; growing the table
    // as it fills would rehash it a dozen times.
    reading.library.items.reserve(json.size() / 300);
    Reader reader(json);
    if (!reader.document(reading)) {
        reading = TagLibraryFile::Reading{};
        reading.status = TagLibraryFile::ReadStatus::unusable;
        reading.problem = QStringLiteral("not a tag library");
        return reading;
    }
    if (reading.status == TagLibraryFile::ReadStatus::damaged)
        reading.problem = QStringLiteral("some records could not be read");
    return reading;
}

} // namespace TagLibraryParser
