#include "palette/PaletteSources.h"

#include "core/PathText.h"
#include "palette/FuzzyMatcher.h"
#include "palette/Romaji.h"

#include <QTextBoundaryFinder>
#include <algorithm>
#include <cmath>

namespace fs = std::filesystem;

namespace {

constexpr double kNameBonus = 20.0;
constexpr double kTagBonus = 10.0;
constexpr double kTitleBonus = 10.0;
constexpr double kSidebarBonus = 10.0;

std::vector<int> shifted(std::vector<int> positions, int offset)
{
    for (int& position : positions)
        position += offset;
    return positions;
}

// The better of a match in the last component (with its bonus) and one in the whole
// text; positions are given in the whole text. The name wins ties.
std::optional<FuzzyMatch> nameOrWhole(const QString& search, const QString& name,
                                      const QString& whole, int nameOffset)
{
    auto byName = FuzzyMatcher::match(search, name);
    if (byName) {
        byName->score += int64_t(kNameBonus);
        byName->positions = shifted(std::move(byName->positions), nameOffset);
    }
    auto byWhole = FuzzyMatcher::match(search, whole);
    if (byName && (!byWhole || byName->score >= byWhole->score))
        return byName;
    return byWhole;
}

// The best match among an item's other names; it has nothing to highlight in the title.
std::optional<FuzzyMatch> aliasMatch(const QString& search, const QStringList& aliases)
{
    std::optional<FuzzyMatch> match;
    for (const QString& alias : aliases) {
        auto byAlias = FuzzyMatcher::match(search, alias);
        if (byAlias && (!match || byAlias->score > match->score))
            match = FuzzyMatch{byAlias->score, {}};
    }
    return match;
}

QString relativeText(const fs::path& path, const fs::path& base)
{
    const std::string& full = path.native();
    std::string prefix = base.native();
    if (!prefix.empty() && prefix.back() != '/')
        prefix += '/';
    if (full.size() > prefix.size() && full.compare(0, prefix.size(), prefix) == 0)
        return PathText::display(fs::path(full.substr(prefix.size())));
    return PathText::display(path);
}

struct Scored {
    size_t row;
    FuzzyMatch match;
};

// The best `limit` matches of many rows, best first, ties in row order; items are
// then made for these only.
template <typename Match>
std::vector<Scored> best(size_t count, size_t limit, Match&& matchRow)
{
    std::vector<Scored> scored;
    for (size_t row = 0; row < count; ++row) {
        if (auto match = matchRow(row))
            scored.push_back({row, std::move(*match)});
    }
    const auto better = [](const Scored& a, const Scored& b) {
        return a.match.score != b.match.score ? a.match.score > b.match.score : a.row < b.row;
    };
    if (scored.size() > limit) {
        std::nth_element(scored.begin(), scored.begin() + ptrdiff_t(limit), scored.end(), better);
        scored.resize(limit);
    }
    std::sort(scored.begin(), scored.end(), better);
    return scored;
}

} // namespace

namespace PaletteSources {

int graphemeCount(const QString& text)
{
    bool ascii = true;
    for (QChar c : text) {
        if (c.unicode() >= 0x80) {
            ascii = false;
            break;
        }
    }
    if (ascii)
        return int(text.size());
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int count = 0;
    while (finder.toNextBoundary() > 0)
        ++count;
    return count;
}

std::vector<FolderRow> folderRows(const std::vector<FolderHistory::Entry>& entries,
                                  const fs::path& home, const QDateTime& now)
{
    std::vector<FolderRow> rows;
    rows.reserve(entries.size());
    for (const FolderHistory::Entry& entry : entries) {
        FolderRow row;
        row.path = entry.path;
        row.name = PathText::displayName(entry.path);
        row.display = PathText::abbreviated(entry.path, home);
        row.frecency = FolderHistory::frecency(entry, now);
        row.nameOffset = graphemeCount(row.display) - graphemeCount(row.name);
        if (row.nameOffset < 0 || !row.display.endsWith(row.name))
            row.nameOffset = -1; // "~" or "/": the name is not at the end
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<TagRow> tagRows(const QList<Tag>& tags)
{
    std::vector<TagRow> rows;
    rows.reserve(tags.size());
    for (const Tag& tag : tags)
        rows.push_back({tag, Romaji::transcribe(tag.name)});
    return rows;
}

double usageBonus(const CommandUsage::Usage& usage)
{
    return std::log2(std::max(0.0, usage.count) + 1.0) * 8.0;
}

PaletteItem commandItem(const PaletteCommand& command)
{
    PaletteItem item;
    item.id = QStringLiteral("command:") + command.action + QLatin1Char('|') + command.menuPath +
              QLatin1Char('|') + command.title;
    item.kind = command;
    item.title = command.title;
    item.subtitle = command.menuPath;
    item.detail = command.shortcut;
    item.icon = PaletteItem::Icon::symbol(QStringLiteral("system-run"));
    return item;
}

void addCommands(const QString& search, const std::vector<PaletteCommand>& commands,
                 const QHash<QString, CommandUsage::Usage>& usage, std::vector<PaletteItem>& out)
{
    for (const PaletteCommand& command : commands) {
        std::optional<FuzzyMatch> match = FuzzyMatcher::match(search, command.title);
        double bonus = kTitleBonus;
        if (!match) {
            bonus = 0;
            match = aliasMatch(search, command.searchAliases);
        }
        if (!match)
            continue;
        PaletteItem item = commandItem(command);
        item.highlights = std::move(match->positions);
        item.score = double(match->score) + bonus + usageBonus(usage.value(command.action));
        out.push_back(std::move(item));
    }
}

PaletteItem folderItem(const FolderRow& row)
{
    PaletteItem item;
    item.id = QStringLiteral("folder:") + PathText::toStorableText(row.path);
    item.kind = PaletteItem::Folder{row.path};
    item.title = row.display;
    item.detail = QStringLiteral("履歴");
    item.icon = PaletteItem::Icon::symbol(QStringLiteral("folder"));
    item.score = row.frecency * 8.0;
    return item;
}

void addFolders(const QString& search, const std::vector<FolderRow>& rows,
                std::vector<PaletteItem>& out, size_t limit)
{
    // Matched with the frecency folded in, so the limit keeps the best overall.
    const auto scored = best(rows.size(), limit, [&](size_t i) {
        const FolderRow& row = rows[i];
        auto match = row.nameOffset >= 0
                         ? nameOrWhole(search, row.name, row.display, row.nameOffset)
                         : FuzzyMatcher::match(search, row.display);
        if (match)
            match->score =
                int64_t(std::llround((double(match->score) + row.frecency * 8.0) * 1024));
        return match;
    });
    for (const Scored& s : scored) {
        PaletteItem item = folderItem(rows[s.row]);
        item.highlights = s.match.positions;
        item.score = double(s.match.score) / 1024.0;
        out.push_back(std::move(item));
    }
}

void addTags(const QString& search, const std::vector<TagRow>& rows, std::vector<PaletteItem>& out)
{
    for (const TagRow& row : rows) {
        std::optional<FuzzyMatch> match = FuzzyMatcher::match(search, row.tag.name);
        double bonus = kTagBonus;
        if (!match) {
            match = FuzzyMatcher::match(search, row.romaji);
            if (match)
                match->positions.clear();
            bonus = 0;
        }
        if (!match)
            continue;
        PaletteItem item;
        item.id = QStringLiteral("tag:") + row.tag.id.toString(QUuid::WithoutBraces);
        item.kind = row.tag;
        item.title = row.tag.name;
        item.detail = QStringLiteral("タグ");
        item.icon = PaletteItem::Icon::symbol(QStringLiteral("tag.fill"));
        item.highlights = std::move(match->positions);
        item.score = double(match->score) + bonus;
        out.push_back(std::move(item));
    }
}

std::vector<SidebarRow> sidebarRows(const QList<SidebarItem>& items, const fs::path& home)
{
    std::vector<SidebarRow> rows;
    for (const SidebarItem& entry : items) {
        if (!entry.isFolder() || entry.isMissing)
            continue;
        SidebarRow row{entry, {Romaji::transcribe(entry.displayName())}};
        const fs::path path = entry.path();
        // The home folder's own name is the user's name, and "/" has none: neither says
        // what the place is, so these two also go by the common words.
        if (path == home)
            row.aliases << QStringLiteral("home");
        else if (path == fs::path("/"))
            row.aliases << QStringLiteral("root");
        if (path != fs::path("/"))
            row.aliases << PathText::displayName(path);
        rows.push_back(std::move(row));
    }
    return rows;
}

void addSidebarFolders(const QString& search, const std::vector<SidebarRow>& rows,
                       const fs::path& home, std::vector<PaletteItem>& out)
{
    for (const SidebarRow& row : rows) {
        const SidebarItem& entry = row.item;
        std::optional<FuzzyMatch> match = FuzzyMatcher::match(search, entry.displayName());
        double bonus = kSidebarBonus;
        if (!match) {
            bonus = 0;
            match = aliasMatch(search, row.aliases);
        }
        if (!match)
            continue;
        PaletteItem item;
        // The same id as the folder from the history or the current folder, so a
        // place found both ways is listed once.
        item.id = QStringLiteral("folder:") + PathText::toStorableText(entry.path());
        item.kind = PaletteItem::Folder{entry.path()};
        item.title = entry.displayName();
        item.subtitle = PathText::abbreviated(entry.path(), home);
        item.detail = QStringLiteral("サイドバー");
        item.icon = PaletteItem::Icon::symbol(entry.symbol.isEmpty() ? QStringLiteral("folder")
                                                                     : entry.symbol);
        item.highlights = std::move(match->positions);
        item.score = double(match->score) + bonus;
        out.push_back(std::move(item));
    }
}

std::vector<EntryRow> entryRows(const std::vector<FileIndex::Entry>& entries, const fs::path& base)
{
    std::vector<EntryRow> rows;
    rows.reserve(entries.size());
    for (const FileIndex::Entry& entry : entries) {
        EntryRow row{entry, PathText::displayName(entry.path), relativeText(entry.path, base), -1};
        if (row.relative.endsWith(row.name))
            row.nameOffset = graphemeCount(row.relative) - graphemeCount(row.name);
        rows.push_back(std::move(row));
    }
    return rows;
}

void addEntries(const QString& search, const std::vector<EntryRow>& rows, const fs::path& home,
                std::vector<PaletteItem>& out, size_t limit)
{
    const auto scored = best(rows.size(), limit, [&](size_t i) {
        const EntryRow& row = rows[i];
        return row.nameOffset >= 0 ? nameOrWhole(search, row.name, row.relative, row.nameOffset)
                                   : FuzzyMatcher::match(search, row.relative);
    });
    for (const Scored& s : scored) {
        const FileIndex::Entry& entry = rows[s.row].entry;
        PaletteItem item;
        const QString key = PathText::toStorableText(entry.path);
        if (entry.isDirectory) {
            item.id = QStringLiteral("folder:") + key;
            item.kind = PaletteItem::Folder{entry.path};
        } else {
            item.id = QStringLiteral("file:") + key;
            item.kind = PaletteItem::File{entry.path};
        }
        item.title = rows[s.row].relative;
        item.subtitle = PathText::abbreviated(PathText::parent(entry.path), home);
        item.icon = entry.isDirectory ? PaletteItem::Icon::symbol(QStringLiteral("folder"))
                                      : PaletteItem::Icon::file(entry.path);
        item.highlights = s.match.positions;
        item.score = double(s.match.score);
        out.push_back(std::move(item));
    }
}

void rank(std::vector<PaletteItem>& items, size_t limit)
{
    std::stable_sort(items.begin(), items.end(),
                     [](const PaletteItem& a, const PaletteItem& b) { return a.score > b.score; });
    if (items.size() > limit)
        items.resize(limit);
}

} // namespace PaletteSources
