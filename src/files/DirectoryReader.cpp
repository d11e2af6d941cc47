#include "files/DirectoryReader.h"

#include "core/PathText.h"
#include "files/FileNode.h"
#include "files/FileSorter.h"
#include "files/KindCache.h"
#include "platform/DirectoryScanner.h"
#include "platform/VolumeInfo.h"

#include <QtConcurrent/QtConcurrentMap>
#include <QtConcurrent/QtConcurrentRun>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kHiddenListName = ".hidden";
// A .hidden file is a short list of names; anything bigger is not one.
constexpr size_t kMaxHiddenListBytes = 1 << 20;

bool startsWithDot(std::string_view name)
{
    return !name.empty() && name.front() == '.';
}

// The names a folder's ".hidden" file lists, one a line.
std::unordered_set<std::string> readHiddenList(const fs::path& folder)
{
    std::unordered_set<std::string> names;
    const auto text =
        DirectoryScanner::readSmallFile(folder / std::string(kHiddenListName), kMaxHiddenListBytes);
    if (!text)
        return names;
    std::string_view rest(*text);
    while (!rest.empty()) {
        const size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view{} : rest.substr(end + 1);
        if (!line.empty() && line.back() == '\r')
            line.remove_suffix(1);
        if (!line.empty())
            names.emplace(line);
    }
    return names;
}

// Fills everything the scan knows but the path; a failed lstat leaves the defaults.
void fill(FileEntry& entry, const ScannedItem& item, std::string_view nameBytes)
{
    if (item.statFailed)
        return;
    entry.isSymbolicLink = item.isSymbolicLink();
    entry.isFolder = item.isDirectory();
    if (!entry.isFolder)
        entry.size = item.size;
    entry.dateModified = item.modifiedNs;
    entry.identity = FileIdentity{uint64_t(item.device), uint64_t(item.inode)};
    entry.setKind(entry.isFolder ? KindCache::forFolder() : KindCache::forFileName(nameBytes));
}

std::string_view view(const QByteArray& bytes)
{
    return {bytes.constData(), size_t(bytes.size())};
}

FileEntry& entryOf(FileEntry& entry)
{
    return entry;
}

FileEntry& entryOf(std::unique_ptr<FileNode>& node)
{
    if (!node)
        node = std::make_unique<FileNode>(FileEntry());
    return node->entry;
}

// Collation keys and kinds cost about a microsecond per item; a big folder shares
// that out over the thread pool.
template <typename Function>
void inChunks(size_t count, Function function)
{
    constexpr size_t kChunk = 4096;
    std::vector<std::pair<size_t, size_t>> ranges;
    for (size_t begin = 0; begin < count; begin += kChunk)
        ranges.emplace_back(begin, std::min(count, begin + kChunk));
    auto run = [&](const std::pair<size_t, size_t>& range) {
        for (size_t i = range.first; i < range.second; ++i)
            function(i);
    };
    if (ranges.size() <= 1) {
        for (const auto& range : ranges)
            run(range);
        return;
    }
    QtConcurrent::blockingMap(ranges, run);
}

std::string& pathBuffer()
{
    thread_local std::string buffer;
    return buffer;
}

std::string_view lastComponent(const std::string& path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string_view(path)
                                      : std::string_view(path).substr(slash + 1);
}

} // namespace

namespace DirectoryReader {

const std::unordered_set<std::string>& alwaysHiddenNames()
{
    static const std::unordered_set<std::string> names = {".DS_Store", ".localized"};
    return names;
}

} // namespace DirectoryReader

namespace {

// Entries or nodes: the window's listing is made as nodes right away, so that a big
// folder never exists twice.
template <typename Element>
Result<std::vector<Element>> readAs(const fs::path& folder, bool includeHidden)
{
    auto scanned = DirectoryScanner::scan(folder);
    if (!scanned)
        return std::unexpected(scanned.error());
    const auto& skipped = DirectoryReader::alwaysHiddenNames();
    std::unordered_set<std::string> hiddenList;
    for (const ScannedItem& item : *scanned) {
        if (item.name == kHiddenListName) {
            hiddenList = readHiddenList(folder);
            break;
        }
    }
    auto isHidden = [&](const ScannedItem& item) {
        return startsWithDot(item.name) || (!item.statFailed && hiddenList.contains(item.name));
    };
    // Filtered in place: an index on the side would cost 16 MB for a million items.
    std::erase_if(*scanned, [&](const ScannedItem& item) {
        return skipped.contains(item.name) || (!includeHidden && isHidden(item));
    });
    // Paths are joined as bytes: a std::filesystem::path per item would parse every one.
    std::string prefix = folder.native();
    if (!prefix.empty() && prefix.back() != '/')
        prefix += '/';
    std::vector<Element> elements(scanned->size());
    inChunks(scanned->size(), [&](size_t i) {
        const ScannedItem& item = (*scanned)[i];
        FileEntry& entry = entryOf(elements[i]);
        std::string& path = pathBuffer();
        path.assign(prefix).append(item.name);
        const QByteArray key = FileSorter::collationKey(
            QString::fromUtf8(item.name.data(), qsizetype(item.name.size())));
        entry.setPathBytesAndNameKey(path, view(key));
        entry.isHidden = isHidden(item);
        fill(entry, item, item.name);
    });
    return elements;
}

} // namespace

namespace DirectoryReader {

Result<std::vector<FileEntry>> read(const fs::path& folder, bool includeHidden)
{
    return readAs<FileEntry>(folder, includeHidden);
}

FileEntry entry(const fs::path& path)
{
    FileEntry result;
    const fs::path standard = PathText::standardized(path);
    const QString name = PathText::displayName(standard);
    const QByteArray key = FileSorter::collationKey(name);
    result.setPathBytesAndNameKey(path.native(), view(key));
    if (result.name() != name)
        result.setName(name);
    const std::string_view nameBytes = lastComponent(standard.native());
    const auto item = DirectoryScanner::statPath(path);
    result.isHidden = startsWithDot(nameBytes);
    if (item && !result.isHidden && standard.native() != "/") {
        const auto parent = PathText::parent(standard);
        if (DirectoryScanner::exists(parent / std::string(kHiddenListName)))
            result.isHidden = readHiddenList(parent).contains(std::string(nameBytes));
    }
    fill(result, item.value_or(ScannedItem{.statFailed = true}), nameBytes);
    return result;
}

Listing::Listing(std::vector<FileEntry> entries)
{
    nodes.reserve(entries.size());
    for (FileEntry& entry : entries)
        nodes.push_back(std::make_unique<FileNode>(std::move(entry)));
}

QFuture<Result<Listing>> readInBackground(const fs::path& folder, bool includeHidden)
{
    return QtConcurrent::run([folder, includeHidden]() -> Result<Listing> {
        auto nodes = readAs<std::unique_ptr<FileNode>>(folder, includeHidden);
        if (!nodes)
            return std::unexpected(nodes.error());
        return Listing(std::move(*nodes));
    });
}

QFuture<std::optional<int64_t>> availableCapacity(const fs::path& path)
{
    return QtConcurrent::run([path] { return VolumeInfo::availableCapacity(path); });
}

} // namespace DirectoryReader
