#include "insight/GitSnapshot.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHeader = "## ";
constexpr std::string_view kNoCommits = "No commits yet on ";
constexpr std::string_view kDetached = "HEAD (no branch)";

// "main...origin/main [ahead 1]" → "main". Branch names hold neither "..." nor
// blanks, so the cuts also tidy a fresh branch that already has an upstream.
QString branchName(std::string_view header)
{
    if (header.starts_with(kDetached))
        return QStringLiteral("(detached)");
    if (header.starts_with(kNoCommits))
        header.remove_prefix(kNoCommits.size());
    header = header.substr(0, header.find("..."));
    header = header.substr(0, header.find(' '));
    return QString::fromUtf8(header.data(), qsizetype(header.size()));
}

// First match wins: an unmerged pair outranks what either side did.
GitFileStatus stateOf(char x, char y)
{
    if (x == '?' && y == '?')
        return GitFileStatus::untracked;
    if (x == '!' && y == '!')
        return GitFileStatus::ignored;
    if (x == 'U' || y == 'U' || (x == 'A' && y == 'A') || (x == 'D' && y == 'D'))
        return GitFileStatus::conflicted;
    if (x == 'A')
        return GitFileStatus::added;
    if (x == 'R' || x == 'C')
        return GitFileStatus::renamed;
    if (x == 'D' || y == 'D')
        return GitFileStatus::deleted;
    return GitFileStatus::modified;
}

// Ancestors are added from the nearest up; once one is already known, so are all
// above it, which keeps a large change set close to one lookup per entry.
void addAncestors(std::unordered_set<std::string>& folders, std::string_view path,
                  std::string& scratch)
{
    for (size_t slash = path.rfind('/'); slash != std::string_view::npos && slash > 0;
         slash = path.rfind('/', slash - 1)) {
        scratch.assign(path.data(), slash);
        if (!folders.insert(scratch).second)
            return;
    }
}

// Walks the NUL-separated records, skipping empty ones.
class Records {
public:
    explicit Records(QByteArrayView output)
        : m_rest(output.data(), size_t(output.size()))
    {
    }

    bool next(std::string_view& record)
    {
        while (!m_rest.empty()) {
            const void* nul = std::memchr(m_rest.data(), '\0', m_rest.size());
            const size_t length =
                nul ? size_t(static_cast<const char*>(nul) - m_rest.data()) : m_rest.size();
            record = m_rest.substr(0, length);
            m_rest.remove_prefix(std::min(length + 1, m_rest.size()));
            if (!record.empty())
                return true;
        }
        return false;
    }

private:
    std::string_view m_rest;
};

bool isInside(std::string_view relative, const std::string& folder)
{
    return relative.size() > folder.size() && relative[folder.size()] == '/' &&
           relative.starts_with(folder);
}

} // namespace

GitSnapshot GitSnapshot::parse(QByteArrayView output, const fs::path& root)
{
    GitSnapshot snapshot;
    snapshot.root = root;
    snapshot.statuses.reserve(size_t(std::count(output.begin(), output.end(), '\0')));
    std::string scratch;
    Records records(output);
    for (std::string_view record; records.next(record);) {
        if (record.starts_with(kHeader)) {
            snapshot.branch = branchName(record.substr(kHeader.size()));
            continue;
        }
        if (record.size() < 4 || record[2] != ' ')
            continue;
        const GitFileStatus state = stateOf(record[0], record[1]);
        std::string_view path = record.substr(3);
        if (state == GitFileStatus::renamed) {
            std::string_view oldPath;
            records.next(oldPath);
        }
        // A whole folder is entered without its "/", so its own row shows the state.
        if (path.ends_with('/')) {
            path.remove_suffix(1);
            if (path.empty())
                continue;
            if (state == GitFileStatus::untracked)
                snapshot.untrackedFolders.emplace_back(path);
            else if (state == GitFileStatus::ignored)
                snapshot.ignoredFolders.emplace_back(path);
        }
        snapshot.statuses.insert_or_assign(std::string(path), state);
        if (state != GitFileStatus::ignored)
            addAncestors(snapshot.changedFolders, path, scratch);
    }
    return snapshot;
}

std::optional<GitFileStatus> GitSnapshot::status(const fs::path& path) const
{
    const std::string& base = root.native();
    const std::string& full = path.native();
    if (base.empty() || !full.starts_with(base))
        return std::nullopt;
    size_t start = base.size();
    if (base.back() != '/') {
        if (full.size() <= start || full[start] != '/')
            return std::nullopt;
        ++start;
    }
    if (full.size() <= start)
        return std::nullopt;
    const std::string relative = full.substr(start);
    if (const auto exact = statuses.find(relative); exact != statuses.end())
        return exact->second;
    for (const std::string& folder : untrackedFolders) {
        if (isInside(relative, folder))
            return GitFileStatus::untracked;
    }
    for (const std::string& folder : ignoredFolders) {
        if (isInside(relative, folder))
            return GitFileStatus::ignored;
    }
    if (changedFolders.contains(relative))
        return GitFileStatus::modified;
    return std::nullopt;
}

int GitSnapshot::changeCount() const
{
    return int(std::ranges::count_if(
        statuses, [](const auto& entry) { return entry.second != GitFileStatus::ignored; }));
}
