#pragma once

#include "palette/CommandUsage.h"
#include "palette/FileIndex.h"
#include "palette/PaletteItem.h"
#include "palette/PaletteSources.h"
#include "tags/SidebarItem.h"

#include <QFutureWatcher>
#include <QObject>
#include <optional>
#include <stop_token>

class FolderHistory;

// The results behind the command palette. One query field searches commands, history
// folders, tags, sidebar entries, the current folder, files under it and typed paths,
// ranked into one list with a selection. Main thread; the disk is read only on the
// thread pool (the file index, a typed path's folder).
//
// itemsChanged() follows every change of items() (a new query, the file index or a
// typed path's folder arriving); selectionChanged() a new selectedIndex().
class PaletteModel : public QObject {
    Q_OBJECT
public:
    // What the palette searches, taken when it opens.
    struct Context {
        std::vector<PaletteCommand> commands;
        std::filesystem::path currentFolder; // empty when the pane shows a tag
        std::vector<FileIndex::Entry> currentChildren;
        QList<SidebarItem> sidebarItems;
        QList<SidebarItem> places; // the sidebar's standard places, also searched unprefixed
        QList<Tag> tags;
        std::filesystem::path home;
        bool includeHidden = false;
    };

    PaletteModel(Context context, FolderHistory& history, QObject* parent = nullptr);
    ~PaletteModel() override;

    const QString& query() const { return m_query; }
    void setQuery(const QString& query);
    PaletteMode mode() const { return PaletteModes::detect(m_query); }

    const std::vector<PaletteItem>& items() const { return m_items; }
    int selectedIndex() const { return m_selected; }
    void setSelectedIndex(int index);
    void moveSelection(int delta); // clamps at both ends
    const PaletteItem* selectedItem() const;

    bool isIndexingFiles() const { return m_indexing; }
    // Why the list is empty ("見つかりません", …); empty when there are items or
    // nothing to say yet.
    QString emptyText() const;

    // Where a typed relative path starts, and the home folder, for completion.
    const std::filesystem::path& baseFolder() const;
    const std::filesystem::path& home() const { return m_context.home; }

    // Counts a use of the command and ranks it accordingly from now on.
    void recordUse(const PaletteCommand& command);

    // For the keystroke benchmark: the file index as if it had been collected.
    void setFileIndexForTesting(std::vector<FileIndex::Entry> entries);

Q_SIGNALS:
    void itemsChanged();
    void selectionChanged();

private:
    void recompute();
    std::vector<PaletteItem> recentItems() const;
    std::vector<PaletteItem> mixedItems(const QString& search) const;
    std::vector<PaletteItem> pathItems();
    std::vector<PaletteItem> fileItems(const QString& search);
    void startIndexingFiles();
    void listTypedFolder(const std::filesystem::path& folder);

    Context m_context;
    std::vector<PaletteSources::FolderRow> m_folders;
    std::vector<PaletteSources::TagRow> m_tags;
    std::vector<PaletteSources::SidebarRow> m_sidebar;
    std::vector<PaletteSources::SidebarRow> m_places;
    std::vector<PaletteSources::EntryRow> m_children;
    QHash<QString, CommandUsage::Usage> m_usage;

    QString m_query;
    std::vector<PaletteItem> m_items;
    int m_selected = 0;

    std::optional<std::vector<PaletteSources::EntryRow>> m_fileIndex;
    bool m_indexing = false;
    std::stop_source m_stop;
    QFutureWatcher<std::vector<PaletteSources::EntryRow>> m_indexWatcher;

    struct Listing {
        std::filesystem::path folder;
        std::optional<QStringList> names; // subfolders; none while reading
        bool failed = false;
    };
    Listing m_listing;
    QFutureWatcher<std::optional<QStringList>> m_listingWatcher;
};
