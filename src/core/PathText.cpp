#include "core/PathText.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace PathText {

fs::path standardized(const fs::path& path)
{
    const std::string& s = path.native();
    if (s.empty())
        return path;
    const bool absolute = s.front() == '/';
    std::vector<std::string_view> parts;
    std::string_view rest(s);
    while (!rest.empty()) {
        const auto slash = rest.find('/');
        std::string_view part = rest.substr(0, slash);
        rest = slash == std::string_view::npos ? std::string_view{} : rest.substr(slash + 1);
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty() && parts.back() != "..")
                parts.pop_back();
            else if (!absolute)
                parts.push_back(part);
            continue;
        }
        parts.push_back(part);
    }
    std::string out;
    out.reserve(s.size());
    for (const auto& part : parts) {
        if (absolute || !out.empty())
            out += '/';
        out += part;
    }
    if (out.empty())
        out = absolute ? "/" : ".";
    return fs::path(std::move(out));
}

fs::path parent(const fs::path& path)
{
    const std::string& s = path.native();
    const auto slash = s.rfind('/');
    if (slash == std::string::npos)
        return fs::path(".");
    if (slash == 0)
        return fs::path("/");
    return fs::path(s.substr(0, slash));
}

QString displayName(const fs::path& path)
{
    const std::string& s = path.native();
    if (s == "/")
        return QStringLiteral("/");
    const auto slash = s.rfind('/');
    const std::string_view name =
        slash == std::string::npos ? std::string_view(s) : std::string_view(s).substr(slash + 1);
    return QString::fromUtf8(name.data(), qsizetype(name.size()));
}

QString display(const fs::path& path)
{
    return QString::fromUtf8(path.native().data(), qsizetype(path.native().size()));
}

fs::path fromText(const QString& text)
{
    return fs::path(text.toStdString());
}

bool isValidUtf8(std::string_view bytes)
{
    size_t i = 0;
    const size_t n = bytes.size();
    while (i < n) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        if (c < 0x80) {
            ++i;
            continue;
        }
        int extra = 0;
        unsigned min = 0;
        unsigned cp = 0;
        if ((c & 0xE0) == 0xC0) {
            extra = 1, min = 0x80, cp = c & 0x1F;
        } else if ((c & 0xF0) == 0xE0) {
            extra = 2, min = 0x800, cp = c & 0x0F;
        } else if ((c & 0xF8) == 0xF0) {
            extra = 3, min = 0x10000, cp = c & 0x07;
        } else {
            return false;
        }
        if (i + size_t(extra) >= n)
            return false;
        for (int k = 1; k <= extra; ++k) {
            const auto cc = static_cast<unsigned char>(bytes[i + k]);
            if ((cc & 0xC0) != 0x80)
                return false;
            cp = (cp << 6) | (cc & 0x3F);
        }
        if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF))
            return false;
        i += size_t(extra) + 1;
    }
    return true;
}

namespace {

// Length of the valid UTF-8 sequence starting at i, or 0 when it is not valid.
size_t validSequenceLength(std::string_view bytes, size_t i)
{
    const auto c = static_cast<unsigned char>(bytes[i]);
    size_t len = c < 0x80             ? 1
                 : (c & 0xE0) == 0xC0 ? 2
                 : (c & 0xF0) == 0xE0 ? 3
                 : (c & 0xF8) == 0xF0 ? 4
                                      : 0;
    if (len == 0 || i + len > bytes.size())
        return 0;
    return isValidUtf8(bytes.substr(i, len)) ? len : 0;
}

} // namespace

std::string escapedName(std::string_view bytes)
{
    static const char* hex = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size());
    size_t i = 0;
    while (i < bytes.size()) {
        const auto c = static_cast<unsigned char>(bytes[i]);
        const size_t len = validSequenceLength(bytes, i);
        if (len == 0 || c < 0x20 || c == 0x7F || c == '\\') {
            out += "\\x";
            out += hex[c >> 4];
            out += hex[c & 0xF];
            ++i;
            continue;
        }
        out.append(bytes.substr(i, len));
        i += len;
    }
    return out;
}

QString toStorableText(const fs::path& path)
{
    const std::string_view bytes(path.native());
    QString out;
    out.reserve(qsizetype(bytes.size()));
    size_t i = 0;
    while (i < bytes.size()) {
        const size_t len = validSequenceLength(bytes, i);
        if (len == 0) {
            out += QChar(char16_t(0xDC00 + static_cast<unsigned char>(bytes[i])));
            ++i;
            continue;
        }
        out += QString::fromUtf8(bytes.data() + i, qsizetype(len));
        i += len;
    }
    return out;
}

fs::path fromStorableText(const QString& text)
{
    std::string out;
    out.reserve(size_t(text.size()));
    qsizetype start = 0;
    for (qsizetype i = 0; i <= text.size(); ++i) {
        const bool escaped = i < text.size() && text[i].unicode() >= 0xDC80 &&
                             text[i].unicode() <= 0xDCFF &&
                             !(i > 0 && text[i - 1].isHighSurrogate());
        if (i == text.size() || escaped) {
            out += text.mid(start, i - start).toStdString();
            if (escaped)
                out += char(text[i].unicode() - 0xDC00);
            start = i + 1;
        }
    }
    return fs::path(std::move(out));
}

fs::path homeFolder()
{
    if (const char* home = std::getenv("HOME"); home && *home)
        return standardized(fs::path(home));
    if (const passwd* pw = getpwuid(getuid()); pw && pw->pw_dir)
        return fs::path(pw->pw_dir);
    return fs::path("/");
}

fs::path dataHome()
{
    const char* configured = std::getenv("XDG_DATA_HOME");
    if (configured && fs::path(configured).is_absolute())
        return fs::path(configured);
    return homeFolder() / ".local" / "share";
}

QString abbreviated(const fs::path& path, const fs::path& home)
{
    const std::string& homeText = home.native();
    const std::string& text = path.native();
    if (homeText.empty() || homeText == "/" || !text.starts_with(homeText))
        return display(path);
    if (text.size() == homeText.size() || text[homeText.size()] == '/')
        return QStringLiteral("~") + display(text.substr(homeText.size()));
    return display(path); // "/home/ann2" is not inside "/home/ann"
}

QString abbreviated(const fs::path& path)
{
    return abbreviated(path, standardized(homeFolder()));
}

} // namespace PathText
