#include "files/KindCache.h"

#include "platform/DirectoryScanner.h"

#include <QHashFunctions>
#include <QMimeDatabase>
#include <QStandardPaths>
#include <fnmatch.h>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {

// Enough for every extension a real folder holds; names without one are cached
// by the whole name, which a folder of hashed names would otherwise grow forever.
constexpr size_t kMaxEntries = 8192;
constexpr size_t kMaxLocalEntries = 512;

// A second-to-last component this short is part of a compound extension
// ("tar.gz", "so.6"); a longer one is part of the stem ("photo.2024.jpg").
constexpr size_t kMaxInnerExtension = 4;

std::string asciiLower(std::string_view bytes)
{
    std::string out(bytes);
    for (char& c : out) {
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    }
    return out;
}

// The part of a name that decides its type. A name without an extension (or with
// only a leading dot) stands for itself: "Makefile", "README", ".bashrc".
std::string cacheKey(std::string_view name)
{
    const size_t last = name.rfind('.');
    if (last == std::string_view::npos || last == 0)
        return asciiLower(name);
    size_t from = last;
    const size_t inner = last > 1 ? name.rfind('.', last - 1) : std::string_view::npos;
    if (inner != std::string_view::npos && inner > 0 && last - inner - 1 <= kMaxInnerExtension)
        from = inner;
    // "x" stands in for the stem, so the lookup depends on the key alone.
    return "x" + asciiLower(name.substr(from));
}

bool hasDotOutsideBrackets(std::string_view glob)
{
    bool inBrackets = false;
    for (char c : glob) {
        if (c == '[')
            inBrackets = true;
        else if (c == ']')
            inBrackets = false;
        else if (c == '.' && !inBrackets)
            return true;
    }
    return false;
}

// The few glob patterns of the shared MIME database that can match a name without
// any dot ("Makefile", "README*", "*~"). Every other such name is of unknown type,
// which spares a database lookup per name in folders of hashed or numbered names;
// QMimeDatabase compiles its wildcard patterns anew on every lookup.
class BareNamePatterns {
public:
    BareNamePatterns()
    {
        const QStringList files = QStandardPaths::locateAll(QStandardPaths::GenericDataLocation,
                                                            QStringLiteral("mime/globs2"));
        for (const QString& file : files) {
            const auto text = DirectoryScanner::readSmallFile(file.toStdString(), 16 << 20);
            if (!text)
                continue;
            m_known = true;
            std::string_view rest(*text);
            while (!rest.empty()) {
                const size_t end = rest.find('\n');
                addLine(rest.substr(0, end));
                rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
            }
        }
    }

    // False only when no pattern can match; without the glob file we cannot tell.
    bool mayMatch(const std::string& lowerName) const
    {
        if (!m_known || m_literals.contains(lowerName))
            return true;
        for (const std::string& glob : m_wildcards) {
            if (::fnmatch(glob.c_str(), lowerName.c_str(), 0) == 0)
                return true;
        }
        return false;
    }

private:
    // "weight:type:glob[:flags]"; case is folded, as a miss costs only a lookup.
    void addLine(std::string_view line)
    {
        if (line.empty() || line.front() == '#')
            return;
        const size_t first = line.find(':');
        const size_t second = first == std::string_view::npos ? first : line.find(':', first + 1);
        if (second == std::string_view::npos)
            return;
        std::string glob =
            asciiLower(line.substr(second + 1, line.find(':', second + 1) - second - 1));
        if (glob.empty() || hasDotOutsideBrackets(glob))
            return;
        if (glob.find_first_of("*?[") == std::string::npos)
            m_literals.insert(std::move(glob));
        else
            m_wildcards.push_back(std::move(glob));
    }

    bool m_known = false;
    std::unordered_set<std::string> m_literals;
    std::vector<std::string> m_wildcards;
};

KindInfo infoFor(const QMimeType& type)
{
    QString icon = type.iconName();
    if (icon.isEmpty())
        icon = type.genericIconName();
    // Some translations carry stray spaces ("Markdown ").
    return {type.comment().trimmed(), icon};
}

struct InfoHash {
    size_t operator()(const KindInfo& info) const
    {
        return qHash(info.kind) ^ (qHash(info.iconName) * 31);
    }
};

struct InfoEqual {
    bool operator()(const KindInfo& a, const KindInfo& b) const
    {
        return a.kind == b.kind && a.iconName == b.iconName;
    }
};

class Cache {
public:
    const KindInfo* lookup(std::string_view name)
    {
        std::string key = cacheKey(name);
        // A small copy per thread keeps readers working in parallel off the lock.
        thread_local std::unordered_map<std::string, const KindInfo*> local;
        if (auto it = local.find(key); it != local.end())
            return it->second;
        {
            std::lock_guard lock(m_mutex);
            if (auto it = m_byKey.find(key); it != m_byKey.end()) {
                if (local.size() < kMaxLocalEntries)
                    local.emplace(key, it->second);
                return it->second;
            }
        }
        // Looked up outside our lock: QMimeDatabase has its own, and comment() is slow.
        const bool hasExtension = key.size() > 1 && key[0] == 'x' && key[1] == '.';
        if (!hasExtension && key.front() != '.' && !bareNamePatterns().mayMatch(key))
            return unknown();
        const QString probe = hasExtension ? QString::fromUtf8(key.data(), qsizetype(key.size()))
                                           : QString::fromUtf8(name.data(), qsizetype(name.size()));
        KindInfo info = infoFor(m_database.mimeTypeForFile(probe, QMimeDatabase::MatchExtension));
        std::lock_guard lock(m_mutex);
        const KindInfo* interned = internLocked(std::move(info));
        if (m_byKey.size() < kMaxEntries)
            m_byKey.emplace(std::move(key), interned);
        return interned;
    }

    const KindInfo* folder()
    {
        std::call_once(m_folderOnce, [this] {
            m_folder =
                intern(infoFor(m_database.mimeTypeForName(QStringLiteral("inode/directory"))));
        });
        return m_folder;
    }

    const KindInfo* unknown()
    {
        std::call_once(m_unknownOnce, [this] {
            m_unknown = intern(
                infoFor(m_database.mimeTypeForName(QStringLiteral("application/octet-stream"))));
        });
        return m_unknown;
    }

    const KindInfo* intern(KindInfo info)
    {
        std::lock_guard lock(m_mutex);
        return internLocked(std::move(info));
    }

private:
    // The set only grows (types are few), so its elements never move.
    const KindInfo* internLocked(KindInfo info)
    {
        return &*m_interned.insert(std::move(info)).first;
    }

    const BareNamePatterns& bareNamePatterns()
    {
        std::call_once(m_patternsOnce, [this] { m_patterns.emplace(); });
        return *m_patterns;
    }

    QMimeDatabase m_database;
    std::mutex m_mutex;
    std::unordered_set<KindInfo, InfoHash, InfoEqual> m_interned;
    std::unordered_map<std::string, const KindInfo*> m_byKey;
    std::once_flag m_folderOnce;
    const KindInfo* m_folder = nullptr;
    std::once_flag m_unknownOnce;
    const KindInfo* m_unknown = nullptr;
    std::once_flag m_patternsOnce;
    std::optional<BareNamePatterns> m_patterns;
};

Cache& cache()
{
    static Cache instance;
    return instance;
}

} // namespace

namespace KindCache {

const KindInfo& forFolder()
{
    return *cache().folder();
}

const KindInfo& forFileName(std::string_view nameBytes)
{
    return *cache().lookup(nameBytes);
}

const KindInfo& intern(const QString& kind, const QString& iconName)
{
    return *cache().intern({kind, iconName});
}

} // namespace KindCache
