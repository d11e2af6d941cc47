#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Entry names of zips that predate the UTF-8 flag: bytes in the creating system's
// code page, which the archive does not name. Japanese Windows wrote CP932; the
// zip format's own default is CP437.
class ZipNameCharset {
public:
    // CP932 when every name decodes strictly as CP932, else CP437.
    static ZipNameCharset chooseFor(const std::vector<std::string>& legacyNames);

    explicit ZipNameCharset(const char* charset);
    ~ZipNameCharset();
    ZipNameCharset(ZipNameCharset&& other) noexcept;
    ZipNameCharset& operator=(ZipNameCharset&&) = delete;

    const char* name() const { return m_name; }
    // The name in UTF-8, or nullopt when its bytes are not valid in the charset.
    std::optional<std::string> decode(std::string_view bytes);

private:
    const char* m_name;
    void* m_converter; // iconv_t
};
