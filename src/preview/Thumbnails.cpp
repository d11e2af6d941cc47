#include "preview/Thumbnails.h"

#include "core/FileUri.h"

#include <QByteArray>
#include <QCryptographicHash>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <system_error>

namespace fs = std::filesystem;

namespace {

fs::path cacheHome()
{
    // A relative XDG_CACHE_HOME is invalid and ignored, as the base-directory rules say.
    if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg == '/')
        return xdg;
    if (const char* home = std::getenv("HOME"); home && *home)
        return fs::path(home) / ".cache";
    return {};
}

uint32_t bigEndian32(const unsigned char* bytes)
{
    return uint32_t(bytes[0]) << 24 | uint32_t(bytes[1]) << 16 | uint32_t(bytes[2]) << 8 |
           uint32_t(bytes[3]);
}

// The text of the PNG tEXt chunk with this keyword, or none. Walks the chunk headers
// only, skipping image data, so large thumbnails cost a few reads.
std::optional<std::string> pngText(const fs::path& png, std::string_view keyword)
{
    std::ifstream in(png, std::ios::binary);
    static constexpr unsigned char signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    std::array<unsigned char, 8> head{};
    if (!in.read(reinterpret_cast<char*>(head.data()), 8) ||
        !std::equal(head.begin(), head.end(), signature))
        return std::nullopt;
    // Our thumbnails are small; a text chunk beyond this is not one a thumbnailer wrote.
    constexpr uint32_t maxTextChunk = 64 * 1024;
    while (in.read(reinterpret_cast<char*>(head.data()), 8)) {
        const uint32_t length = bigEndian32(head.data());
        const std::string_view type(reinterpret_cast<const char*>(head.data()) + 4, 4);
        if (type == "IEND" || length > 0x7fffffffu)
            return std::nullopt;
        if (type == "tEXt" && length <= maxTextChunk) {
            std::string data(length, '\0');
            if (!in.read(data.data(), length))
                return std::nullopt;
            const size_t zero = data.find('\0');
            if (zero != std::string::npos && std::string_view(data).substr(0, zero) == keyword)
                return data.substr(zero + 1);
            in.seekg(4, std::ios::cur); // the CRC
        } else {
            in.seekg(std::streamoff(length) + 4, std::ios::cur);
        }
    }
    return std::nullopt;
}

std::optional<int64_t> modificationSeconds(const fs::path& file)
{
    std::error_code error;
    const auto time = fs::last_write_time(file, error);
    if (error)
        return std::nullopt;
    const auto system = std::chrono::file_clock::to_sys(time);
    return std::chrono::duration_cast<std::chrono::seconds>(system.time_since_epoch()).count();
}

} // namespace

namespace Thumbnails {

std::string md5Name(const fs::path& absolute)
{
    const std::string uri = FileUri::fromPath(absolute);
    const QByteArray digest = QCryptographicHash::hash(
        QByteArrayView(uri.data(), qsizetype(uri.size())), QCryptographicHash::Md5);
    return digest.toHex().toStdString() + ".png";
}

std::optional<fs::path> find(const fs::path& absolute)
{
    const fs::path root = cacheHome();
    if (root.empty())
        return std::nullopt;
    const auto mtime = modificationSeconds(absolute);
    if (!mtime)
        return std::nullopt;
    const std::string name = md5Name(absolute);
    const std::string expected = std::to_string(*mtime);
    for (const char* size : {"xx-large", "x-large", "large", "normal"}) {
        const fs::path candidate = root / "thumbnails" / size / name;
        std::error_code error;
        if (!fs::is_regular_file(candidate, error))
            continue;
        // A thumbnail of an older version of the file must not stand for the new one.
        if (pngText(candidate, "Thumb::MTime") == expected)
            return candidate;
    }
    return std::nullopt;
}

} // namespace Thumbnails
