#include "files/FileSorter.h"

#include "files/FileNode.h"

#include <QHashFunctions>
#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>
#include <unicode/ucol.h>
#include <unordered_map>

namespace {

UCollator* makeCollator()
{
    UErrorCode status = U_ZERO_ERROR;
    UCollator* collator = ucol_open("ja", &status);
    if (U_FAILURE(status)) {
        status = U_ZERO_ERROR;
        collator = ucol_open("", &status);
    }
    // Finder-like: digit runs by value, case ignored, canonically equivalent
    // spellings (NFC and NFD names from other systems) equal.
    ucol_setAttribute(collator, UCOL_NUMERIC_COLLATION, UCOL_ON, &status);
    ucol_setAttribute(collator, UCOL_STRENGTH, UCOL_SECONDARY, &status);
    ucol_setAttribute(collator, UCOL_NORMALIZATION_MODE, UCOL_ON, &status);
    return collator;
}

// ICU collators are not safe to share between threads; one per thread is cheap.
UCollator* collator()
{
    struct Holder {
        UCollator* collator = makeCollator();
        ~Holder() { ucol_close(collator); }
    };
    thread_local Holder holder;
    return holder.collator;
}

const UChar* utf16(const QString& text)
{
    return reinterpret_cast<const UChar*>(text.utf16());
}

// Byte order, as ICU defines sort keys (std::string_view compares char, which may be signed).
int compareKeys(std::string_view a, std::string_view b)
{
    const size_t n = std::min(a.size(), b.size());
    if (const int r = n ? std::memcmp(a.data(), b.data(), n) : 0)
        return r < 0 ? -1 : 1;
    return a.size() < b.size() ? -1 : a.size() > b.size() ? 1 : 0;
}

std::string_view view(const QByteArray& bytes)
{
    return {bytes.constData(), size_t(bytes.size())};
}

int compareNumbers(int64_t a, int64_t b)
{
    return a < b ? -1 : a > b ? 1 : 0;
}

constexpr int64_t kDistantPast = std::numeric_limits<int64_t>::min();

// The key as made when read, or made now into `scratch` for an entry that has none.
std::string_view nameKeyOf(const FileEntry& entry, QByteArray& scratch)
{
    if (entry.nameKey().empty() && !entry.name().isEmpty()) {
        scratch = FileSorter::collationKey(entry.name());
        return view(scratch);
    }
    return entry.nameKey();
}

// What one comparison needs, gathered once so that sorting touches no QString. The
// first sixteen bytes of the name key, big-endian, settle most comparisons without
// following the pointer; collation keys hold no zero byte, so padding with zeros
// keeps the order.
struct SortItem {
    int64_t primary = 0; // date, size, or the rank of the kind or tag key
    uint64_t namePrefix = 0;
    uint64_t nameInfix = 0;
    const char* name = nullptr;
    uint32_t nameSize = 0;
    uint32_t index = 0;
    bool tagged = false;
};

uint64_t wordAt(std::string_view key, size_t from)
{
    uint64_t word = 0;
    for (size_t i = from; i < from + 8; ++i)
        word = (word << 8) | (i < key.size() ? uint8_t(key[i]) : 0);
    return word;
}

int compareNames(const SortItem& a, const SortItem& b)
{
    if (a.namePrefix != b.namePrefix)
        return a.namePrefix < b.namePrefix ? -1 : 1;
    if (a.nameInfix != b.nameInfix)
        return a.nameInfix < b.nameInfix ? -1 : 1;
    const uint32_t n = std::min(a.nameSize, b.nameSize);
    if (n > 16) {
        if (const int r = std::memcmp(a.name + 16, b.name + 16, n - 16))
            return r < 0 ? -1 : 1;
    }
    return compareNumbers(a.nameSize, b.nameSize);
}

struct TextHash {
    size_t operator()(const QString& text) const { return qHash(QStringView(text)); }
};

// Kinds and tag keys are few distinct texts: each gets one collation key, and the
// entries then compare by the rank of their text among them.
class RankTable {
public:
    uint32_t idFor(const QString& text)
    {
        // Kinds come from one cache, so neighbours usually share their storage.
        if (!m_texts.empty() && text.constData() == m_texts[m_lastId].constData() &&
            text.size() == m_texts[m_lastId].size())
            return m_lastId;
        auto [it, inserted] = m_ids.try_emplace(text, uint32_t(m_texts.size()));
        if (inserted)
            m_texts.push_back(text);
        m_lastId = it->second;
        return m_lastId;
    }

    // Ranks by id; texts equal under collation share a rank.
    std::vector<int64_t> ranks() const
    {
        std::vector<QByteArray> keys;
        std::vector<uint32_t> order(m_texts.size());
        for (uint32_t id = 0; id < m_texts.size(); ++id) {
            keys.push_back(FileSorter::collationKey(m_texts[id]));
            order[id] = id;
        }
        std::sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) {
            return compareKeys(view(keys[a]), view(keys[b])) < 0;
        });
        std::vector<int64_t> rank(m_texts.size());
        for (size_t i = 0; i < order.size(); ++i) {
            const bool same =
                i > 0 && compareKeys(view(keys[order[i - 1]]), view(keys[order[i]])) == 0;
            rank[order[i]] = same ? rank[order[i - 1]] : int64_t(i);
        }
        return rank;
    }

private:
    std::unordered_map<QString, uint32_t, TextHash> m_ids;
    std::vector<QString> m_texts;
    uint32_t m_lastId = 0;
};

int64_t primaryOf(const FileEntry& entry, FileSortKey key, RankTable& table)
{
    switch (key) {
    case FileSortKey::name:
        return 0;
    case FileSortKey::dateModified:
        return entry.dateModified.value_or(kDistantPast);
    case FileSortKey::size:
        return entry.size.value_or(-1);
    case FileSortKey::kind:
        return table.idFor(entry.kind());
    case FileSortKey::tags:
        return table.idFor(entry.tagSortKey.value_or(QString()));
    }
    return 0;
}

FileEntry& entryOf(FileEntry& entry)
{
    return entry;
}

FileEntry& entryOf(std::unique_ptr<FileNode>& node)
{
    return node->entry;
}

template <typename T>
std::vector<SortItem> makeItems(std::vector<T>& elements, FileSortKey key)
{
    RankTable table;
    std::vector<SortItem> items(elements.size());
    for (size_t i = 0; i < elements.size(); ++i) {
        FileEntry& entry = entryOf(elements[i]);
        if (entry.nameKey().empty() && !entry.name().isEmpty())
            entry.setNameKey(view(FileSorter::collationKey(entry.name())));
        const std::string_view nameKey = entry.nameKey();
        SortItem& item = items[i];
        item.primary = primaryOf(entry, key, table);
        item.namePrefix = wordAt(nameKey, 0);
        item.nameInfix = wordAt(nameKey, 8);
        item.name = nameKey.data();
        item.nameSize = uint32_t(nameKey.size());
        item.index = uint32_t(i);
        item.tagged = entry.tagSortKey.has_value();
    }
    if (key == FileSortKey::kind || key == FileSortKey::tags) {
        const std::vector<int64_t> ranks = table.ranks();
        for (SortItem& item : items)
            item.primary = ranks[size_t(item.primary)];
    }
    return items;
}

// Puts element items[i].index at position i, following cycles, so that no second
// vector of elements is needed.
template <typename T>
void permute(std::vector<T>& elements, std::vector<SortItem>& items)
{
    for (size_t start = 0; start < items.size(); ++start) {
        if (items[start].index == start)
            continue;
        T held = std::move(elements[start]);
        size_t at = start;
        while (items[at].index != start) {
            const size_t from = items[at].index;
            elements[at] = std::move(elements[from]);
            items[at].index = uint32_t(at);
            at = from;
        }
        elements[at] = std::move(held);
        items[at].index = uint32_t(at);
    }
}

// Sorts anything that holds entries: comparisons run on small records, and each
// element moves once at the end.
template <typename T>
void sortElements(std::vector<T>& elements, const FileSort& sort)
{
    std::vector<SortItem> items = makeItems(elements, sort.key);
    const bool byTags = sort.key == FileSortKey::tags;
    const bool byName = sort.key == FileSortKey::name;
    std::stable_sort(items.begin(), items.end(), [&](const SortItem& a, const SortItem& b) {
        if (byTags && a.tagged != b.tagged)
            return a.tagged;
        const int r = byName ? compareNames(a, b) : compareNumbers(a.primary, b.primary);
        if (r != 0)
            return sort.ascending ? r < 0 : r > 0;
        return !byName && compareNames(a, b) < 0;
    });
    permute(elements, items);
}

} // namespace

int FileSorter::compare(const FileEntry& a, const FileEntry& b) const
{
    switch (m_sort.key) {
    case FileSortKey::name: {
        QByteArray scratchA, scratchB;
        return compareKeys(nameKeyOf(a, scratchA), nameKeyOf(b, scratchB));
    }
    case FileSortKey::dateModified:
        return compareNumbers(a.dateModified.value_or(kDistantPast),
                              b.dateModified.value_or(kDistantPast));
    case FileSortKey::size:
        return compareNumbers(a.size.value_or(-1), b.size.value_or(-1));
    case FileSortKey::kind:
        return localizedCompare(a.kind(), b.kind());
    case FileSortKey::tags:
        return localizedCompare(a.tagSortKey.value_or(QString()), b.tagSortKey.value_or(QString()));
    }
    return 0;
}

bool FileSorter::areInIncreasingOrder(const FileEntry& a, const FileEntry& b) const
{
    if (m_sort.key == FileSortKey::tags && a.tagSortKey.has_value() != b.tagSortKey.has_value())
        return a.tagSortKey.has_value();
    if (const int r = compare(a, b))
        return m_sort.ascending ? r < 0 : r > 0;
    QByteArray scratchA, scratchB;
    return compareKeys(nameKeyOf(a, scratchA), nameKeyOf(b, scratchB)) < 0;
}

std::vector<FileEntry> FileSorter::sorted(std::vector<FileEntry> entries) const
{
    sort(entries);
    return entries;
}

void FileSorter::sort(std::vector<FileEntry>& entries) const
{
    sortElements(entries, m_sort);
}

void FileSorter::sort(std::vector<std::unique_ptr<FileNode>>& nodes) const
{
    sortElements(nodes, m_sort);
}

QByteArray FileSorter::collationKey(const QString& text)
{
    // Most names fit the stack buffer; ICU reports the full length when they do not.
    uint8_t buffer[512];
    const int32_t length = ucol_getSortKey(collator(), utf16(text), int32_t(text.size()), buffer,
                                           int32_t(sizeof buffer));
    if (length <= 0)
        return {};
    if (size_t(length) <= sizeof buffer)
        return QByteArray(reinterpret_cast<const char*>(buffer), length - 1);
    QByteArray key(length, Qt::Uninitialized);
    ucol_getSortKey(collator(), utf16(text), int32_t(text.size()),
                    reinterpret_cast<uint8_t*>(key.data()), length);
    key.chop(1); // the terminating zero
    return key;
}

int FileSorter::localizedCompare(const QString& a, const QString& b)
{
    switch (ucol_strcoll(collator(), utf16(a), int32_t(a.size()), utf16(b), int32_t(b.size()))) {
    case UCOL_LESS:
        return -1;
    case UCOL_GREATER:
        return 1;
    default:
        return 0;
    }
}
