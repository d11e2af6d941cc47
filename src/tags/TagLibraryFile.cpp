#include "tags/TagLibraryFile.h"

#include "platform/DirectoryScanner.h"
#include "platform/MappedFile.h"
#include "tags/TagLibraryParser.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

// Tags files are small; anything far larger is not ours.
constexpr size_t kMaxFileBytes = size_t(512) << 20;

QString uuidText(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

namespace TagLibraryFile {

Reading decode(QByteArrayView json)
{
    return TagLibraryParser::parse(json);
}

std::optional<Tag> tagFromFields(const QString& id, const QString& name, const QString& color)
{
    const QUuid uuid = QUuid::fromString(id);
    const QString normalized = TagNames::normalized(name);
    if (uuid.isNull() || normalized.isEmpty())
        return std::nullopt;
    return Tag{uuid, normalized, TagNames::colorText(color).value_or(QStringLiteral("#8E8E93"))};
}

std::optional<TaggedItem> itemFromFields(const QString& path, const TagIDSet& ids,
                                         const QString* bookmark)
{
    if (path.isEmpty())
        return std::nullopt;
    TaggedItem item{path.normalized(QString::NormalizationForm_C), std::nullopt, ids};
    if (bookmark) {
        auto bytes = QByteArray::fromBase64Encoding(bookmark->toLatin1(),
                                                    QByteArray::AbortOnBase64DecodingErrors);
        if (!bytes)
            return std::nullopt;
        item.bookmark = std::move(*bytes);
    }
    return item;
}

Reading read(const fs::path& file)
{
    if (!DirectoryScanner::exists(file))
        return Reading{};
    const auto mapped = MappedFile::open(file);
    if (!mapped || mapped->bytes().size() > kMaxFileBytes) {
        Reading reading;
        reading.status = ReadStatus::unusable;
        reading.problem = mapped ? QStringLiteral("too large") : mapped.error().description();
        return reading;
    }
    return decode(QByteArrayView(mapped->bytes().data(), qsizetype(mapped->bytes().size())));
}

bool codePointLess(const QString& a, const QString& b)
{
    // UTF-16 order puts U+E000...U+FFFF after the surrogates; shifting both
    // ranges gives the order of code points.
    auto rank = [](QChar c) {
        const char16_t u = c.unicode();
        if (u >= 0xD800 && u <= 0xDFFF)
            return int(u) + 0x2000;
        if (u >= 0xE000)
            return int(u) - 0x800;
        return int(u);
    };
    return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end(),
                                        [&](QChar x, QChar y) { return rank(x) < rank(y); });
}

QByteArray encode(const QList<Tag>& tags, const QHash<QString, TaggedItem>& items, bool manualOrder)
{
    QJsonArray tagArray;
    for (const Tag& tag : tags) {
        tagArray.append(QJsonObject{{QStringLiteral("color"), tag.color},
                                    {QStringLiteral("id"), uuidText(tag.id)},
                                    {QStringLiteral("name"), tag.name}});
    }
    std::vector<const TaggedItem*> ordered;
    ordered.reserve(size_t(items.size()));
    for (const TaggedItem& item : items)
        ordered.push_back(&item);
    std::sort(ordered.begin(), ordered.end(), [](const TaggedItem* a, const TaggedItem* b) {
        return codePointLess(a->path, b->path);
    });
    QJsonArray itemArray;
    for (const TaggedItem* item : ordered) {
        QStringList ids;
        for (const QUuid& id : item->tagIDs)
            ids.append(uuidText(id));
        ids.sort();
        QJsonObject object{{QStringLiteral("path"), item->path},
                           {QStringLiteral("tagIDs"), QJsonArray::fromStringList(ids)}};
        if (item->bookmark)
            object.insert(QStringLiteral("bookmark"),
                          QString::fromLatin1(item->bookmark->toBase64()));
        itemArray.append(object);
    }
    const QJsonObject root{{QStringLiteral("items"), itemArray},
                           {QStringLiteral("manualOrder"), manualOrder},
                           {QStringLiteral("tags"), tagArray}};
    return QJsonDocument(root).toJson(QJsonDocument::Indented);
}

} // namespace TagLibraryFile
