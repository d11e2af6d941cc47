#include "browser/tags/TagIntegration.h"

#include "core/Location.h"
#include "files/FileNode.h"
#include "operations/FileOperationManager.h"
#include "palette/FolderHistory.h"
#include "tags/TagAttributeMirror.h"
#include "tags/TagStore.h"

#include <QDateTime>
#include <QPointer>

namespace {
constexpr size_t kSearchedFolders = 50;
} // namespace

namespace TagIntegration {

void install(TagStore& store)
{
    QPointer<TagStore> tags(&store);
    FileNode::lookups().tagSortKey = [tags](const FileEntry& entry) -> std::optional<QString> {
        return tags ? tags->tagSortKey(entry.path()) : std::nullopt;
    };
    Location::setTagNameLookup([tags](const QUuid& id) {
        const auto tag = tags ? tags->tag(id) : std::nullopt;
        return tag ? tag->name : QStringLiteral("（削除されたタグ）");
    });
    QObject::connect(&FileOperationManager::shared(), &FileOperationManager::itemsMoved, &store,
                     &TagStore::itemsMoved, Qt::UniqueConnection);
    // Items moved by other programs are looked for in the folders used most, too.
    store.setSearchFolders([] {
        return FolderHistory::shared().mostFrecentFolders(kSearchedFolders,
                                                          QDateTime::currentDateTimeUtc());
    });
    // Owned by the store, one per store however often this runs.
    if (!store.findChild<TagAttributeMirror*>(QString(), Qt::FindDirectChildrenOnly))
        new TagAttributeMirror(store, &store);
}

} // namespace TagIntegration
