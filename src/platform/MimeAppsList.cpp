#include "platform/MimeAppsList.h"

#include "platform/AtomicFile.h"
#include "platform/FileReader.h"

#include <QStringDecoder>

namespace fs = std::filesystem;

namespace {

const QString kDefaultGroup = QStringLiteral("Default Applications");

// Far beyond any real association list; a larger file is not one.
constexpr int64_t kMaximumSize = 4 * 1024 * 1024;

bool isSpace(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f';
}

bool isControl(char c)
{
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7f;
}

bool isValidUtf8(const QByteArray& bytes)
{
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString ignored = decoder.decode(bytes);
    return !decoder.hasError() && !bytes.contains('\0');
}

// A group name between the brackets: not empty, no brackets or control characters.
bool isGroupName(QByteArrayView name)
{
    if (name.isEmpty())
        return false;
    for (char c : name) {
        if (c == '[' || c == ']' || isControl(c))
            return false;
    }
    return true;
}

// As desktops accept keys: MIME types, an optional "[locale]" suffix, no spaces at
// either end (they would not read back the same).
bool isKey(QByteArrayView key)
{
    if (key.isEmpty() || key.front() == ' ' || key.back() == ' ')
        return false;
    const qsizetype open = key.indexOf('[');
    const QByteArrayView name = open < 0 ? key : key.first(open);
    if (name.isEmpty() || name.contains(']'))
        return false;
    if (open < 0)
        return true;
    const QByteArrayView locale = key.sliced(open + 1);
    return locale.size() > 1 && locale.back() == ']' && !locale.chopped(1).contains('[') &&
           !locale.chopped(1).contains(']');
}

Error badFile(int code)
{
    return Error::fromErrno(code);
}

Result<QByteArray> readAll(const fs::path& path)
{
    Result<FileReader> reader = FileReader::open(path);
    if (!reader)
        return std::unexpected(reader.error());
    if (reader->size() > kMaximumSize)
        return std::unexpected(Error::fromErrno(EFBIG, path));
    bool more = false;
    Result<QByteArray> bytes = reader->readBytesUpTo(size_t(kMaximumSize), &more);
    if (bytes && more)
        return std::unexpected(Error::fromErrno(EFBIG, path));
    return bytes;
}

} // namespace

std::optional<MimeAppsList::Line> MimeAppsList::parseLine(QByteArray text, const QString& group)
{
    Line line;
    line.group = group;
    qsizetype start = 0;
    while (start < text.size() && isSpace(text[start]))
        ++start;
    const QByteArrayView rest = QByteArrayView(text).sliced(start);
    if (rest.isEmpty() || rest.front() == '#') {
        line.text = std::move(text);
        return line;
    }
    if (rest.front() == '[') {
        const qsizetype close = rest.indexOf(']');
        if (close < 0 || !isGroupName(rest.sliced(1, close - 1)))
            return std::nullopt;
        for (char c : rest.sliced(close + 1)) {
            if (c != ' ' && c != '\t')
                return std::nullopt;
        }
        line.isGroup = true;
        line.group = QString::fromUtf8(rest.sliced(1, close - 1));
        line.text = std::move(text);
        return line;
    }
    const qsizetype equals = rest.indexOf('=');
    if (equals < 0 || group.isEmpty())
        return std::nullopt;
    QByteArrayView key = rest.first(equals);
    while (!key.isEmpty() && isSpace(key.back()))
        key.chop(1);
    if (!isKey(key))
        return std::nullopt;
    QByteArrayView value = rest.sliced(equals + 1);
    while (!value.isEmpty() && (value.front() == ' ' || value.front() == '\t'))
        value = value.sliced(1);
    line.isEntry = true;
    line.key = QString::fromUtf8(key);
    line.value = QString::fromUtf8(value);
    line.valueStart = text.size() - value.size();
    line.text = std::move(text);
    return line;
}

Result<MimeAppsList> MimeAppsList::parse(const QByteArray& bytes)
{
    if (!isValidUtf8(bytes))
        return std::unexpected(badFile(EILSEQ));
    MimeAppsList list;
    QString group;
    qsizetype start = 0;
    while (start < bytes.size()) {
        qsizetype end = bytes.indexOf('\n', start);
        QByteArray ending;
        if (end < 0) {
            end = bytes.size();
        } else {
            const bool crlf = end > start && bytes[end - 1] == '\r';
            ending = crlf ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n");
            if (crlf)
                --end;
        }
        std::optional<Line> line = parseLine(bytes.sliced(start, end - start), group);
        if (!line)
            return std::unexpected(badFile(EBADMSG));
        if (line->isGroup)
            group = line->group;
        line->ending = ending;
        start = end + ending.size();
        list.m_lines.push_back(std::move(*line));
    }
    return list;
}

QByteArray MimeAppsList::serialize() const
{
    QByteArray bytes;
    for (const Line& line : m_lines)
        bytes += line.text + line.ending;
    return bytes;
}

Result<MimeAppsList> MimeAppsList::load(const fs::path& path)
{
    Result<QByteArray> bytes = readAll(path);
    if (!bytes)
        return bytes.error().code == ENOENT ? Result<MimeAppsList>(MimeAppsList())
                                            : std::unexpected(bytes.error());
    Result<MimeAppsList> list = parse(*bytes);
    if (!list)
        return std::unexpected(Error::fromErrno(list.error().code, path));
    return list;
}

Result<void> MimeAppsList::save(const fs::path& path) const
{
    // Dotfile managers often link this file; keep the link and write its target.
    std::error_code ec;
    const fs::path target = fs::is_symlink(path, ec) ? fs::weakly_canonical(path, ec) : path;
    if (ec)
        return std::unexpected(Error::fromErrno(ec.value(), path));
    const QByteArray bytes = serialize();
    return AtomicFile::write(target, std::string_view(bytes.constData(), size_t(bytes.size())));
}

int MimeAppsList::lastEntry(const QString& mimeType) const
{
    for (int i = int(m_lines.size()) - 1; i >= 0; --i) {
        const Line& line = m_lines[size_t(i)];
        if (line.isEntry && line.group == kDefaultGroup && line.key == mimeType)
            return i;
    }
    return -1;
}

std::optional<QString> MimeAppsList::defaultValue(const QString& mimeType) const
{
    const int i = lastEntry(mimeType);
    if (i < 0)
        return std::nullopt;
    return m_lines[size_t(i)].value;
}

QStringList MimeAppsList::defaults(const QString& mimeType) const
{
    return splitIds(defaultValue(mimeType).value_or(QString()));
}

QStringList MimeAppsList::splitIds(const QString& value)
{
    QStringList ids;
    for (const QString& item : value.split(u';')) {
        const QString id = item.trimmed();
        if (!id.isEmpty())
            ids << id;
    }
    return ids;
}

QString MimeAppsList::joinIds(const QStringList& ids)
{
    QString value;
    for (const QString& id : ids)
        value += id + u';';
    return value;
}

QByteArray MimeAppsList::newLineEnding() const
{
    // New lines follow the file's own convention.
    for (const Line& line : m_lines) {
        if (!line.ending.isEmpty())
            return line.ending;
    }
    return QByteArrayLiteral("\n");
}

int MimeAppsList::insertionPoint()
{
    int group = -1;
    for (int i = int(m_lines.size()) - 1; i >= 0 && group < 0; --i) {
        if (m_lines[size_t(i)].isGroup && m_lines[size_t(i)].group == kDefaultGroup)
            group = i;
    }
    const QByteArray ending = newLineEnding();
    if (group < 0) {
        if (!m_lines.empty() && m_lines.back().ending.isEmpty())
            m_lines.back().ending = ending;
        // A blank line between groups, as desktops write them.
        if (!m_lines.empty() && !m_lines.back().text.trimmed().isEmpty())
            m_lines.push_back(Line{{}, ending});
        Line header{"[" + kDefaultGroup.toUtf8() + "]", ending, true};
        header.group = kDefaultGroup;
        m_lines.push_back(std::move(header));
        return int(m_lines.size());
    }
    int after = group + 1;
    for (int i = group + 1; i < int(m_lines.size()) && !m_lines[size_t(i)].isGroup; ++i) {
        if (m_lines[size_t(i)].isEntry)
            after = i + 1;
    }
    if (m_lines[size_t(after - 1)].ending.isEmpty())
        m_lines[size_t(after - 1)].ending = ending;
    return after;
}

void MimeAppsList::setDefaultValue(const QString& mimeType, const std::optional<QString>& value)
{
    if (!value) {
        std::erase_if(m_lines, [&](const Line& line) {
            return line.isEntry && line.group == kDefaultGroup && line.key == mimeType;
        });
        return;
    }
    const int existing = lastEntry(mimeType);
    if (existing >= 0) {
        Line& line = m_lines[size_t(existing)];
        line.text = line.text.first(line.valueStart) + value->toUtf8();
        line.value = *value;
        return;
    }
    const int at = insertionPoint();
    const QByteArray key = mimeType.toUtf8() + '=';
    Line line{key + value->toUtf8(), newLineEnding()};
    line.valueStart = key.size();
    line.isEntry = true;
    line.group = kDefaultGroup;
    line.key = mimeType;
    line.value = *value;
    m_lines.insert(m_lines.begin() + at, std::move(line));
}
