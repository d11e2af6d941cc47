#pragma once

#include "palette/CommandUsage.h"
#include "palette/FileIndex.h"
#include "palette/FolderHistory.h"
#include "palette/PaletteItem.h"
#include "tags/SidebarItem.h"

#include <QDateTime>
#include <QHash>
#include <vector>

// The palette's result sources: each matches the search text against its
// candidates and appends scored items. Pure functions; no disk access.
namespace PaletteSources {

// A history folder prepared once per palette, so a keystroke only matches.
struct FolderRow {
    std::filesystem::path path;
    QString name;    // last component
    QString display; // "~/…" under home
    double frecency = 0;
    int nameOffset = 0; // graphemes of display before name
};

// A tag with its name's romaji, transcribed once per palette.
struct TagRow {
    Tag tag;
    QString romaji;
};

// An item under the current folder prepared once (a child or an indexed file).
struct EntryRow {
    FileIndex::Entry entry;
    QString name;
    QString relative;   // from the current folder
    int nameOffset = 0; // graphemes of relative before name; -1 when not at the end
};

// A sidebar folder prepared once per palette, with the other names it is found by:
// its name's romaji, the folder's own name, and "home" or "root" for those two.
struct SidebarRow {
    SidebarItem item;
    QStringList aliases;
};

int graphemeCount(const QString& text);

std::vector<FolderRow> folderRows(const std::vector<FolderHistory::Entry>& entries,
                                  const std::filesystem::path& home, const QDateTime& now);
std::vector<TagRow> tagRows(const QList<Tag>& tags);
std::vector<SidebarRow> sidebarRows(const QList<SidebarItem>& items,
                                    const std::filesystem::path& home);
std::vector<EntryRow> entryRows(const std::vector<FileIndex::Entry>& entries,
                                const std::filesystem::path& base);

// Extra weight of a command from its palette usage.
double usageBonus(const CommandUsage::Usage& usage);

void addCommands(const QString& search, const std::vector<PaletteCommand>& commands,
                 const QHash<QString, CommandUsage::Usage>& usage, std::vector<PaletteItem>& out);
// At most `limit` of the best folders.
void addFolders(const QString& search, const std::vector<FolderRow>& rows,
                std::vector<PaletteItem>& out, size_t limit);
void addTags(const QString& search, const std::vector<TagRow>& rows, std::vector<PaletteItem>& out);
// The sidebar's folders (its tags come through addTags), by name or alias.
void addSidebarFolders(const QString& search, const std::vector<SidebarRow>& rows,
                       const std::filesystem::path& home, std::vector<PaletteItem>& out);
// At most `limit` of the best items under the current folder (its children, or the
// file index). A name match outranks a match in the relative path.
void addEntries(const QString& search, const std::vector<EntryRow>& rows,
                const std::filesystem::path& home, std::vector<PaletteItem>& out, size_t limit);

// The command item as listed, with no match.
PaletteItem commandItem(const PaletteCommand& command);
PaletteItem folderItem(const FolderRow& row);

// Best first; equal scores keep their order. Keeps at most `limit`.
void rank(std::vector<PaletteItem>& items, size_t limit);

} // namespace PaletteSources
