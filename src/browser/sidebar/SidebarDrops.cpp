// Dragging rows of the sidebar and dropping rows or files onto it.
#include "browser/sidebar/SidebarDrag.h"
#include "browser/sidebar/SidebarModel.h"
#include "core/PathText.h"
#include "operations/FileClipboard.h"
#include "platform/DirectoryScanner.h"
#include "tags/SidebarStore.h"
#include "tags/TagStore.h"

#include <QMimeData>
#include <QtConcurrent>

namespace fs = std::filesystem;

namespace {

const QString kUriList = QStringLiteral("text/uri-list");

// Favourites and custom sections keep the items people put there; the other
// sections fill themselves.
bool holdsPlacedItems(const std::optional<SidebarSection>& section)
{
    return section && (section->kind() == SidebarSection::Kind::favorites ||
                       section->kind() == SidebarSection::Kind::custom);
}

} // namespace

QStringList SidebarModel::mimeTypes() const
{
    return {SidebarDrag::mimeType, kUriList};
}

QMimeData* SidebarModel::mimeData(const QModelIndexList& indexes) const
{
    if (indexes.isEmpty() || !indexes.first().isValid())
        return nullptr;
    const QModelIndex index = indexes.first();
    SidebarDrag drag;
    if (const auto section = sectionAt(index)) {
        drag.kind = SidebarDrag::Kind::section;
        drag.sectionID = section->id();
    } else if (const auto tag = tagAt(index)) {
        drag.kind = SidebarDrag::Kind::tag;
        drag.tagID = tag->id;
    } else if (const SidebarItem* item = itemAt(index)) {
        drag.kind = SidebarDrag::Kind::item;
        drag.sectionID = containerOf(index)->id();
        drag.item = *item;
    } else {
        return nullptr;
    }
    return drag.toMimeData();
}

Qt::DropActions SidebarModel::supportedDropActions() const
{
    return Qt::CopyAction | Qt::MoveAction;
}

Qt::DropActions SidebarModel::supportedDragActions() const
{
    return Qt::MoveAction;
}

std::optional<SidebarModel::DropPlace> SidebarModel::placeFor(int row,
                                                              const QModelIndex& parent) const
{
    if (!parent.isValid())
        return std::nullopt;
    DropPlace place;
    if (row >= 0)
        place.row = row;
    else
        place.onto = parent;
    if (const auto section = sectionAt(parent)) {
        if (holdsPlacedItems(section))
            place.container = section;
        return place;
    }
    if (tagAt(parent))
        return row < 0 ? std::optional(place) : std::nullopt; // no reordering of tags here
    const SidebarItem* item = itemAt(parent);
    if (item && item->sectionID) {
        place.container = SidebarSection::custom(*item->sectionID);
        return place;
    }
    if (row >= 0)
        return std::nullopt; // plain items have no children
    // Onto an item: a row takes its place, files go into it.
    if (const auto container = containerOf(parent); holdsPlacedItems(container)) {
        place.container = container;
        place.row = parent.row();
    }
    return place;
}

bool SidebarModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                   const QModelIndex& parent) const
{
    if (!data || action == Qt::IgnoreAction)
        return false;
    if (const auto drag = SidebarDrag::from(*data))
        return canDropRow(*drag, row, parent);
    return data->hasFormat(kUriList) && canDropFiles(*data, row, parent);
}

bool SidebarModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                                const QModelIndex& parent)
{
    if (!canDropMimeData(data, action, row, column, parent))
        return false;
    if (const auto drag = SidebarDrag::from(*data))
        return dropRow(*drag, row, parent);
    return dropFiles(*data, action, row, parent);
}

bool SidebarModel::canDropRow(const SidebarDrag& drag, int row, const QModelIndex& parent) const
{
    if (drag.kind == SidebarDrag::Kind::section) {
        // Between sections, or onto a header: before that section.
        return !parent.isValid() || (sectionAt(parent) && row < 0);
    }
    if (drag.kind == SidebarDrag::Kind::item && drag.item.sectionID)
        return false;
    const auto place = placeFor(row, parent);
    return place && place->container;
}

bool SidebarModel::dropRow(const SidebarDrag& drag, int row, const QModelIndex& parent)
{
    if (drag.kind == SidebarDrag::Kind::section) {
        const auto section = SidebarSection::fromID(drag.sectionID);
        const int from = section ? int(m_store.sections().indexOf(*section)) : -1;
        if (from < 0)
            return false;
        m_store.moveSections({from}, storeIndexOfRow(parent.isValid() ? parent.row() : row));
        return true;
    }
    const auto place = placeFor(row, parent);
    const SidebarSection& container = *place->container;
    std::optional<QUuid> tagID =
        drag.kind == SidebarDrag::Kind::tag ? std::optional(drag.tagID) : drag.item.tagID;
    if (tagID)
        m_store.placeTag(*tagID, container, place->row);
    else
        m_store.placeURL(drag.item.path(), container, place->row);
    return true;
}

bool SidebarModel::canDropFiles(const QMimeData& data, int row, const QModelIndex& parent) const
{
    if (FileClipboard::pathsIn(data).empty())
        return false;
    const auto place = placeFor(row, parent);
    if (!place)
        return false;
    if (place->onto.isValid()) {
        const auto location = locationAt(place->onto);
        if (location && !place->onto.data(MissingRole).toBool())
            return true; // into a folder, or tagged with a tag
    }
    return place->container.has_value();
}

bool SidebarModel::dropFiles(const QMimeData& data, Qt::DropAction action, int row,
                             const QModelIndex& parent)
{
    std::vector<fs::path> paths = FileClipboard::pathsIn(data);
    const auto place = placeFor(row, parent);
    const auto location = place->onto.isValid() ? locationAt(place->onto) : std::nullopt;
    // The operation manager or the stores do the work; returning false keeps the
    // drag's source from removing anything itself.
    if (location && location->isFolder()) {
        Q_EMIT filesDropped(data, location->path(), action);
    } else if (location && location->isTag()) {
        m_tags.assign(location->tagId(), paths);
    } else if (place->container) {
        placeFolders(std::move(paths), *place->container, place->row);
    }
    return false;
}

void SidebarModel::placeFolders(std::vector<fs::path> paths, const SidebarSection& container,
                                std::optional<int> at)
{
    QtConcurrent::run([paths = std::move(paths)] {
        std::vector<fs::path> folders;
        for (const fs::path& path : paths) {
            if (DirectoryScanner::isDirectory(path))
                folders.push_back(PathText::standardized(path));
        }
        return folders;
    }).then(this, [this, container, at](const std::vector<fs::path>& folders) {
        std::optional<int> index = at;
        for (const fs::path& folder : folders) {
            m_store.placeURL(folder, container, index);
            if (index)
                ++*index;
        }
    });
}
