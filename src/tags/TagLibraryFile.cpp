#include "tags/TagLibraryFile.h"

#include "platform/DirectoryScanner.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

// Tags files are small; anything far larger is not ours.
constexpr size_t kMaxFileBytes = size_t(512) << 20;

std::optional<Tag> decodeTag(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const QUuid id = QUuid::fromString(object.value(QLatin1String("id")).toString());
    const QString name = TagNames::normalized(object.value(QLatin1String("name")).toString());
    const auto color = TagNames::colorText(object.value(QLatin1String("color")).toString());
    if (id.isNull() || name.isEmpty())
        return std::nullopt;
    return Tag{id, name, color.value_or(QStringLiteral("#8E8E93"))};
}

std::optional<TaggedItem> decodeItem(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const QString path = object.value(QLatin1String("path")).toString();
    if (path.isEmpty())
        return std::nullopt;
    TaggedItem item;
    item.path = path.normalized(QString::NormalizationForm_C);
    for (const QJsonValue& id : object.value(QLatin1String("tagIDs")).toArray()) {
        const QUuid uuid = QUuid::fromString(id.toString());
        if (uuid.isNull())
            return std::nullopt;
        item.tagIDs.insert(uuid);
    }
    const QJsonValue bookmark = object.value(QLatin1String("bookmark"));
    if (bookmark.isString()) {
        const auto bytes = QByteArray::fromBase64Encoding(bookmark.toString().toLatin1(),
                                                          QByteArray::AbortOnBase64DecodingErrors);
        if (bytes)
            item.bookmark = *bytes;
    }
    return item;
}

QString uuidText(const QUuid& id)
{
    return id.toString(QUuid::WithoutBraces).toUpper();
}

} // namespace

namespace TagLibraryFile {

Reading decode(const QByteArray& json)
{
    Reading reading;
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        reading.status = ReadStatus::unusable;
        reading.problem = error.error != QJsonParseError::NoError ? error.errorString()
                                                                  : QStringLiteral("not an object");
        return reading;
    }
    const QJsonObject root = document.object();
    const QJsonValue tags = root.value(QLatin1String("tags"));
    const QJsonValue items = root.value(QLatin1String("items"));
    if (!tags.isArray() || !items.isArray()) {
        reading.status = ReadStatus::unusable;
        reading.problem = QStringLiteral("tags or items missing");
        return reading;
    }
    reading.status = ReadStatus::ok;
    for (const QJsonValue& value : tags.toArray()) {
        if (auto tag = decodeTag(value))
            reading.library.tags.append(*tag);
        else
            reading.status = ReadStatus::damaged;
    }
    const QJsonArray itemArray = items.toArray();
    reading.library.items.reserve(itemArray.size());
    for (const QJsonValue& value : itemArray) {
        if (auto item = decodeItem(value)) {
            if (!item->tagIDs.isEmpty())
                reading.library.items.insert(item->path, *item);
        } else
            reading.status = ReadStatus::damaged;
    }
    reading.library.manualOrder = root.value(QLatin1String("manualOrder")).toBool(false);
    if (reading.status == ReadStatus::damaged)
        reading.problem = QStringLiteral("some records could not be read");
    return reading;
}

Reading read(const fs::path& file)
{
    if (!DirectoryScanner::exists(file))
        return Reading{};
    const auto bytes = DirectoryScanner::readSmallFile(file, kMaxFileBytes);
    if (!bytes) {
        Reading reading;
        reading.status = ReadStatus::unusable;
        reading.problem = QStringLiteral("cannot be read");
        return reading;
    }
    return decode(QByteArray::fromRawData(bytes->data(), qsizetype(bytes->size())));
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
