#include "operations/ArchiveKinds.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace ArchiveKinds {

namespace {

constexpr std::array<std::string_view, 23> kSuffixes = {
    ".zip", ".tar",     ".tar.gz", ".tgz",    ".tar.bz2",  ".tbz2", ".tbz",   ".tar.xz",
    ".txz", ".tar.zst", ".tzst",   ".tar.lz", ".tar.lzma", ".tlz",  ".tar.Z", ".7z",
    ".rar", ".iso",     ".cpio",   ".xar",    ".cab",      ".lha",  ".lzh",
};

bool endsWithIgnoringCase(std::string_view name, std::string_view suffix)
{
    if (name.size() <= suffix.size())
        return false; // ".zip" alone is a hidden file named "zip", not an archive
    return std::equal(suffix.rbegin(), suffix.rend(), name.rbegin(), [](char a, char b) {
        auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c; };
        return lower(a) == lower(b);
    });
}

} // namespace

bool isExpandable(const std::filesystem::path& path)
{
    const std::string name = path.filename().native(); // filename() is a temporary
    return std::ranges::any_of(
        kSuffixes, [&](std::string_view suffix) { return endsWithIgnoringCase(name, suffix); });
}

} // namespace ArchiveKinds
