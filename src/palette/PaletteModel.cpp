#include "palette/PaletteModel.h"

#include "core/PathText.h"
#include "core/WorkPools.h"
#include "palette/FolderHistory.h"
#include "palette/FuzzyMatcher.h"
#include "palette/PathCompletion.h"

#include <QtConcurrent>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

constexpr size_t kMixedLimit = 60;
constexpr size_t kModeLimit = 200;
constexpr size_t kRecentCommands = 5;
constexpr size_t kRecentFolders = 20;
constexpr double kExactPrefixBonus = 20.0;

// The same result offered twice (a history folder that is also a child) keeps its best.
void dropDuplicates(std::vector<PaletteItem>& items)
{
    QSet<QString> seen;
    std::erase_if(items, [&seen](const PaletteItem& item) {
        if (seen.contains(item.id))
            return true;
        seen.insert(item.id);
        return false;
    });
}

} // namespace

PaletteModel::PaletteModel(Context context, FolderHistory& history, QObject* parent)
    : QObject(parent)
    , m_context(std::move(context))
    , m_folders(PaletteSources::folderRows(history.entries(), m_context.home,
                                           QDateTime::currentDateTimeUtc()))
    , m_tags(PaletteSources::tagRows(m_context.tags))
    , m_sidebar(PaletteSources::sidebarRows(m_context.sidebarItems, m_context.home))
    , m_places(PaletteSources::sidebarRows(m_context.places, m_context.home))
    , m_children(PaletteSources::entryRows(m_context.currentChildren, m_context.currentFolder))
    , m_usage(CommandUsage::all())
{
    connect(&m_indexWatcher, &QFutureWatcherBase::finished, this, [this] {
        m_indexing = false;
        if (!m_indexWatcher.isCanceled() && m_indexWatcher.future().resultCount() > 0)
            m_fileIndex = m_indexWatcher.result();
        else
            m_fileIndex.emplace();
        recompute();
    });
    connect(&m_listingWatcher, &QFutureWatcherBase::finished, this, [this] {
        if (m_listingWatcher.future().resultCount() > 0)
            m_listing.names = m_listingWatcher.result();
        m_listing.failed = !m_listing.names;
        recompute();
    });
    recompute();
}

PaletteModel::~PaletteModel()
{
    m_stop.request_stop();
}

void PaletteModel::setQuery(const QString& query)
{
    if (query == m_query)
        return;
    m_query = query;
    recompute();
}

void PaletteModel::setSelectedIndex(int index)
{
    index = m_items.empty() ? 0 : std::clamp(index, 0, int(m_items.size()) - 1);
    if (index == m_selected)
        return;
    m_selected = index;
    Q_EMIT selectionChanged();
}

void PaletteModel::moveSelection(int delta)
{
    setSelectedIndex(m_selected + delta);
}

const PaletteItem* PaletteModel::selectedItem() const
{
    return m_selected < int(m_items.size()) ? &m_items[size_t(m_selected)] : nullptr;
}

QString PaletteModel::emptyText() const
{
    if (!m_items.empty())
        return {};
    switch (mode()) {
    case PaletteMode::Empty:
        return QStringLiteral("フォルダを開くと、ここに履歴が出ます");
    case PaletteMode::File:
        if (m_indexing)
            return QStringLiteral("ファイルを集めています…");
        break;
    case PaletteMode::Path:
        if (!m_listing.names && !m_listing.failed)
            return {};
        break;
    default:
        break;
    }
    return QStringLiteral("見つかりません");
}

const fs::path& PaletteModel::baseFolder() const
{
    return m_context.currentFolder.empty() ? m_context.home : m_context.currentFolder;
}

void PaletteModel::recordUse(const PaletteCommand& command)
{
    CommandUsage::record(command.action);
    m_usage = CommandUsage::all();
}

void PaletteModel::setFileIndexForTesting(std::vector<FileIndex::Entry> entries)
{
    m_fileIndex = PaletteSources::entryRows(entries, m_context.currentFolder);
    recompute();
}

void PaletteModel::recompute()
{
    const PaletteMode mode = this->mode();
    const QString search = PaletteModes::searchText(m_query, mode);
    std::vector<PaletteItem> items;
    switch (mode) {
    case PaletteMode::Empty:
        items = recentItems();
        break;
    case PaletteMode::Command:
        PaletteSources::addCommands(search, m_context.commands, m_usage, items);
        PaletteSources::rank(items, kModeLimit);
        break;
    case PaletteMode::Path:
        items = pathItems();
        break;
    case PaletteMode::File:
        items = fileItems(search);
        break;
    case PaletteMode::Sidebar:
        PaletteSources::addSidebarFolders(search, m_sidebar, m_context.home, items);
        PaletteSources::addTags(search, m_tags, items);
        PaletteSources::rank(items, kModeLimit);
        break;
    case PaletteMode::Mixed:
        items = mixedItems(search);
        break;
    }
    m_items = std::move(items);
    m_selected = 0;
    Q_EMIT itemsChanged();
    Q_EMIT selectionChanged();
}

// Commands by their latest palette use, then folders by frecency.
std::vector<PaletteItem> PaletteModel::recentItems() const
{
    std::vector<PaletteItem> items;
    std::vector<const PaletteCommand*> used;
    for (const PaletteCommand& command : m_context.commands) {
        if (m_usage.contains(command.action))
            used.push_back(&command);
    }
    std::stable_sort(used.begin(), used.end(), [this](auto* a, auto* b) {
        return m_usage.value(a->action).lastUse > m_usage.value(b->action).lastUse;
    });
    for (size_t i = 0; i < used.size() && i < kRecentCommands; ++i)
        items.push_back(PaletteSources::commandItem(*used[i]));

    std::vector<const PaletteSources::FolderRow*> folders;
    for (const auto& row : m_folders)
        folders.push_back(&row);
    std::stable_sort(folders.begin(), folders.end(),
                     [](auto* a, auto* b) { return a->frecency > b->frecency; });
    for (size_t i = 0; i < folders.size() && i < kRecentFolders; ++i)
        items.push_back(PaletteSources::folderItem(*folders[i]));
    return items;
}

std::vector<PaletteItem> PaletteModel::mixedItems(const QString& search) const
{
    std::vector<PaletteItem> items;
    PaletteSources::addCommands(search, m_context.commands, m_usage, items);
    PaletteSources::addFolders(search, m_folders, items, kMixedLimit);
    PaletteSources::addTags(search, m_tags, items);
    PaletteSources::addSidebarFolders(search, m_places, m_context.home, items);
    PaletteSources::addEntries(search, m_children, m_context.home, items, kMixedLimit);
    PaletteSources::rank(items, items.size());
    dropDuplicates(items);
    if (items.size() > kMixedLimit)
        items.resize(kMixedLimit);
    return items;
}

std::vector<PaletteItem> PaletteModel::fileItems(const QString& search)
{
    if (!m_fileIndex) {
        startIndexingFiles();
        return {};
    }
    std::vector<PaletteItem> items;
    PaletteSources::addEntries(search, *m_fileIndex, m_context.home, items, kModeLimit);
    PaletteSources::rank(items, kModeLimit);
    return items;
}

void PaletteModel::startIndexingFiles()
{
    if (m_context.currentFolder.empty()) // a tag has no folder to search under
        m_fileIndex.emplace();
    if (m_indexing || m_fileIndex)
        return;
    m_indexing = true;
    // The rows are prepared on the pool too: ten thousand names take a while.
    m_indexWatcher.setFuture(QtConcurrent::run(
        &WorkPools::fileIndex(), [folder = m_context.currentFolder,
                                  hidden = m_context.includeHidden, stop = m_stop.get_token()] {
            return PaletteSources::entryRows(
                FileIndex::collect(folder, hidden, FileIndex::defaultLimit, stop), folder);
        }));
}

std::vector<PaletteItem> PaletteModel::pathItems()
{
    const QString expanded =
        PathCompletion::expand(m_query, baseFolder(), PathText::toStorableText(m_context.home));
    const qsizetype slash = expanded.lastIndexOf(QLatin1Char('/'));
    const fs::path folder =
        PathText::standardized(PathText::fromStorableText(expanded.left(slash + 1)));
    const QString prefix = expanded.mid(slash + 1);
    if (m_listing.folder != folder)
        listTypedFolder(folder);
    if (!m_listing.names)
        return {};

    std::vector<PaletteItem> items;
    const QString parentText = PathText::abbreviated(folder, m_context.home);
    if (prefix.isEmpty()) {
        PaletteItem self;
        self.id = QStringLiteral("path:") + PathText::toStorableText(folder);
        self.kind = PaletteItem::Path{folder};
        self.title = parentText;
        self.icon = PaletteItem::Icon::symbol(QStringLiteral("folder"));
        self.score = 1e9; // what was typed comes first
        items.push_back(std::move(self));
    }
    const bool hiddenAsked = prefix.startsWith(QLatin1Char('.'));
    for (const QString& text : std::as_const(*m_listing.names)) {
        if (text.startsWith(QLatin1Char('.')) && !hiddenAsked)
            continue;
        auto match = FuzzyMatcher::match(prefix, text);
        if (!match)
            continue;
        PaletteItem item;
        const fs::path path = folder / PathText::fromText(text);
        item.id = QStringLiteral("path:") + PathText::toStorableText(path);
        item.kind = PaletteItem::Path{path};
        item.title = text;
        item.subtitle = parentText;
        item.icon = PaletteItem::Icon::symbol(QStringLiteral("folder"));
        item.highlights = std::move(match->positions);
        item.score = double(match->score) +
                     (text.startsWith(prefix, Qt::CaseInsensitive) ? kExactPrefixBonus : 0.0);
        items.push_back(std::move(item));
    }
    PaletteSources::rank(items, kModeLimit);
    return items;
}

void PaletteModel::listTypedFolder(const fs::path& folder)
{
    m_listing = Listing{folder, std::nullopt, false};
    m_listingWatcher.setFuture(QtConcurrent::run(PathCompletion::subfolderNames, folder));
}
