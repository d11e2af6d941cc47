#include "browser/pane/TagCells.h"

#include "browser/pane/IconCache.h"
#include "tags/TagStore.h"

#include <QStringList>

namespace TagCells {

QString names(const FileEntry& entry)
{
    QStringList names;
    for (const Tag& tag : TagStore::shared().explicitTags(entry.path()))
        names << tag.leafName();
    return names.join(QStringLiteral(", "));
}

QString toolTip(const FileEntry& entry)
{
    QStringList names;
    for (const Tag& tag : TagStore::shared().explicitTags(entry.path()))
        names << tag.name;
    return names.join(QLatin1Char('\n'));
}

QVariantList dots(const FileEntry& entry)
{
    QVariantList pairs;
    for (const Tag& tag : TagStore::shared().explicitTags(entry.path()))
        pairs << QVariant(QStringList{tag.leafName(), tag.color});
    return pairs;
}

QIcon icon(const FileEntry& entry)
{
    if (entry.isFolder) {
        if (const auto color = TagStore::shared().folderColor(entry.path()))
            return IconCache::tinted(QStringLiteral("folder"), *color);
    }
    return IconCache::icon(entry);
}

} // namespace TagCells
