#include "platform/FileCopierLinks.h"

namespace fs = std::filesystem;

namespace {

// `path` is `item` or lies below it; the rest of it, from the separator on, or "".
std::optional<std::string> below(const fs::path& path, const fs::path& item)
{
    const std::string& p = path.native();
    const std::string& i = item.native();
    if (!p.starts_with(i) || (p.size() > i.size() && p[i.size()] != '/'))
        return std::nullopt;
    return p.substr(i.size());
}

} // namespace

std::optional<fs::path> CopiedLinks::copyOf(const struct stat& source) const
{
    std::lock_guard lock(m_lock);
    const auto found = m_copies.find(Key(source.st_dev, source.st_ino));
    if (found == m_copies.end())
        return std::nullopt;
    const Copy& copy = found->second;
    if (copy.size != source.st_size || copy.modified.tv_sec != source.st_mtim.tv_sec ||
        copy.modified.tv_nsec != source.st_mtim.tv_nsec)
        return std::nullopt;
    // Something the user put there meanwhile is never linked to.
    struct stat now;
    if (::lstat(copy.path.c_str(), &now) != 0 ||
        FileIdentity{uint64_t(now.st_dev), uint64_t(now.st_ino)} != copy.made)
        return std::nullopt;
    return copy.path;
}

void CopiedLinks::remember(const struct stat& source, const fs::path& copy, FileIdentity made)
{
    std::lock_guard lock(m_lock);
    const auto [entry, added] = m_copies.try_emplace(Key(source.st_dev, source.st_ino));
    // A copy made because linking to the first was refused takes its place.
    const nlink_t left = added ? source.st_nlink - 1 : entry->second.linksLeft - 1;
    if (left == 0)
        m_copies.erase(entry);
    else
        entry->second = Copy{copy, made, source.st_size, source.st_mtim, left};
}

void CopiedLinks::linked(const struct stat& source)
{
    std::lock_guard lock(m_lock);
    const auto found = m_copies.find(Key(source.st_dev, source.st_ino));
    if (found != m_copies.end() && --found->second.linksLeft == 0)
        m_copies.erase(found);
}

void CopiedLinks::moved(const fs::path& from, const fs::path& to)
{
    std::lock_guard lock(m_lock);
    for (auto& [key, copy] : m_copies) {
        if (const auto rest = below(copy.path, from))
            copy.path = fs::path(to.native() + *rest);
    }
}

void CopiedLinks::forget(const fs::path& path)
{
    std::lock_guard lock(m_lock);
    std::erase_if(m_copies, [&](const auto& entry) { return below(entry.second.path, path); });
}
