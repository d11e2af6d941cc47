#include "core/FileSort.h"

QString rawValue(FileSortKey key)
{
    switch (key) {
    case FileSortKey::name:
        return QStringLiteral("name");
    case FileSortKey::dateModified:
        return QStringLiteral("dateModified");
    case FileSortKey::size:
        return QStringLiteral("size");
    case FileSortKey::kind:
        return QStringLiteral("kind");
    case FileSortKey::tags:
        return QStringLiteral("tags");
    }
    return {};
}

std::optional<FileSortKey> fileSortKeyFromRaw(const QString& raw)
{
    for (FileSortKey key : kAllFileSortKeys) {
        if (rawValue(key) == raw)
            return key;
    }
    return std::nullopt;
}
