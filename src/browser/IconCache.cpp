#include "browser/IconCache.h"

#include <QApplication>
#include <QHash>
#include <QStyle>

namespace IconCache {

namespace {

QIcon load(const QString& name)
{
    if (name == QStringLiteral("folder")) {
        QIcon icon = QIcon::fromTheme(name);
        return icon.isNull() ? QApplication::style()->standardIcon(QStyle::SP_DirIcon) : icon;
    }
    QIcon icon = QIcon::fromTheme(name);
    if (icon.isNull()) {
        // "image-png" → "image-x-generic", the freedesktop generic icon of the media type.
        const QString generic = name.section(QLatin1Char('-'), 0, 0) + QStringLiteral("-x-generic");
        icon = QIcon::fromTheme(generic);
    }
    if (icon.isNull())
        icon = QIcon::fromTheme(QStringLiteral("text-x-generic"));
    if (icon.isNull())
        icon = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
    return icon;
}

} // namespace

QIcon named(const QString& iconName)
{
    static QHash<QString, QIcon> cache;
    auto found = cache.constFind(iconName);
    if (found != cache.constEnd())
        return *found;
    QIcon icon = load(iconName);
    cache.insert(iconName, icon);
    return icon;
}

QIcon icon(const FileEntry& entry)
{
    return named(entry.isFolder ? QStringLiteral("folder") : entry.iconName);
}

} // namespace IconCache
