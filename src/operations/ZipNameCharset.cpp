#include "operations/ZipNameCharset.h"

#include <iconv.h>
#include <utility>

namespace {

const auto kInvalid = reinterpret_cast<void*>(iconv_t(-1));

} // namespace

ZipNameCharset ZipNameCharset::chooseFor(const std::vector<std::string>& legacyNames)
{
    ZipNameCharset japanese("CP932");
    for (const std::string& name : legacyNames) {
        if (!japanese.decode(name))
            return ZipNameCharset("CP437");
    }
    return japanese;
}

ZipNameCharset::ZipNameCharset(const char* charset)
    : m_name(charset)
    , m_converter(reinterpret_cast<void*>(iconv_open("UTF-8", charset)))
{
}

ZipNameCharset::~ZipNameCharset()
{
    if (m_converter != kInvalid)
        iconv_close(iconv_t(m_converter));
}

ZipNameCharset::ZipNameCharset(ZipNameCharset&& other) noexcept
    : m_name(other.m_name)
    , m_converter(std::exchange(other.m_converter, kInvalid))
{
}

std::optional<std::string> ZipNameCharset::decode(std::string_view bytes)
{
    if (m_converter == kInvalid)
        return std::nullopt;
    const auto converter = iconv_t(m_converter);
    iconv(converter, nullptr, nullptr, nullptr, nullptr); // a fresh shift state
    std::string out(bytes.size() * 4 + 4, '\0');          // no code page needs more per byte
    char* in = const_cast<char*>(bytes.data());
    size_t inLeft = bytes.size();
    char* to = out.data();
    size_t toLeft = out.size();
    if (iconv(converter, &in, &inLeft, &to, &toLeft) == size_t(-1) || inLeft != 0)
        return std::nullopt;
    if (iconv(converter, nullptr, nullptr, &to, &toLeft) == size_t(-1))
        return std::nullopt;
    out.resize(out.size() - toLeft);
    return out;
}
