#include "palette/SearchFilter.h"

#include "core/TextFolding.h"
#include "palette/FuzzyMatcher.h"
#include "palette/Romaji.h"

#include <QHash>

namespace SearchFilter {

const QString& romajiOf(const QString& title)
{
    static QHash<QString, QString> cache;
    auto it = cache.find(title);
    if (it == cache.end())
        it = cache.insert(title, Romaji::transcribe(title));
    return *it;
}

bool matches(const QString& query, const QString& title)
{
    if (query.trimmed().isEmpty())
        return true;
    return FuzzyMatcher::match(TextFolding::fold(query), TextFolding::fold(title)) ||
           FuzzyMatcher::match(query, romajiOf(title));
}

} // namespace SearchFilter
