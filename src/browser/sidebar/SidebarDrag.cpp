#include "browser/sidebar/SidebarDrag.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QMimeData>

const QString SidebarDrag::mimeType = QStringLiteral("application/x-quillo-sidebar-row");

namespace {

const char* kindText(SidebarDrag::Kind kind)
{
    switch (kind) {
    case SidebarDrag::Kind::section:
        return "section";
    case SidebarDrag::Kind::tag:
        return "tag";
    case SidebarDrag::Kind::item:
        break;
    }
    return "item";
}

} // namespace

QMimeData* SidebarDrag::toMimeData() const
{
    QJsonObject object;
    object[QStringLiteral("kind")] = QString::fromLatin1(kindText(kind));
    object[QStringLiteral("section")] = sectionID;
    if (kind == Kind::item)
        object[QStringLiteral("item")] = QJsonObject::fromVariantMap(item.toRecord());
    if (kind == Kind::tag)
        object[QStringLiteral("tag")] = tagID.toString(QUuid::WithoutBraces);
    auto* data = new QMimeData;
    data->setData(mimeType, QJsonDocument(object).toJson(QJsonDocument::Compact));
    return data;
}

std::optional<SidebarDrag> SidebarDrag::from(const QMimeData& data)
{
    if (!data.hasFormat(mimeType))
        return std::nullopt;
    const QJsonObject object = QJsonDocument::fromJson(data.data(mimeType)).object();
    const QString kind = object.value(QStringLiteral("kind")).toString();
    SidebarDrag drag;
    drag.sectionID = object.value(QStringLiteral("section")).toString();
    if (kind == QStringLiteral("section")) {
        drag.kind = Kind::section;
        return drag.sectionID.isEmpty() ? std::nullopt : std::optional(drag);
    }
    if (kind == QStringLiteral("tag")) {
        drag.kind = Kind::tag;
        drag.tagID = QUuid::fromString(object.value(QStringLiteral("tag")).toString());
        return drag.tagID.isNull() ? std::nullopt : std::optional(drag);
    }
    if (kind != QStringLiteral("item"))
        return std::nullopt;
    const auto item =
        SidebarItem::fromRecord(object.value(QStringLiteral("item")).toObject().toVariantMap());
    if (!item)
        return std::nullopt;
    drag.kind = Kind::item;
    drag.item = *item;
    return drag;
}
