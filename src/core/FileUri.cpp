#include "core/FileUri.h"

#include <QByteArray>

namespace fs = std::filesystem;

namespace {

bool isSchemeCharacter(char c, bool first)
{
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (first)
        return letter;
    return letter || (c >= '0' && c <= '9') || c == '+' || c == '-' || c == '.';
}

bool isUnreserved(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '.' || c == '_' || c == '~';
}

} // namespace

std::string FileUri::fromPath(const fs::path& absolute)
{
    static constexpr char hex[] = "0123456789ABCDEF";
    std::string uri = "file://";
    uri.reserve(uri.size() + absolute.native().size());
    for (const unsigned char c : absolute.native()) {
        if (isUnreserved(c) || c == '/') {
            uri += char(c);
        } else {
            uri += '%';
            uri += hex[c >> 4];
            uri += hex[c & 0xf];
        }
    }
    return uri;
}

bool FileUri::isUri(QByteArrayView text)
{
    const qsizetype colon = text.indexOf("://");
    if (colon < 1)
        return false;
    for (qsizetype i = 0; i < colon; ++i) {
        if (!isSchemeCharacter(text[i], i == 0))
            return false;
    }
    return true;
}

std::optional<fs::path> FileUri::toPath(QByteArrayView uri)
{
    constexpr QByteArrayView prefix = "file://";
    if (uri.size() < prefix.size() ||
        uri.first(prefix.size()).toByteArray().toLower() != prefix.toByteArray())
        return std::nullopt;
    QByteArrayView rest = uri.sliced(prefix.size());
    const qsizetype slash = rest.indexOf('/');
    if (slash < 0)
        return std::nullopt;
    const QByteArrayView host = rest.first(slash);
    if (!host.isEmpty() && host != "localhost")
        return std::nullopt;
    QByteArrayView path = rest.sliced(slash);
    // A query or fragment is not part of the path.
    for (char end : {'?', '#'}) {
        if (const qsizetype at = path.indexOf(end); at >= 0)
            path = path.first(at);
    }
    const QByteArray bytes = QByteArray::fromPercentEncoding(path.toByteArray());
    return fs::path(bytes.toStdString());
}
