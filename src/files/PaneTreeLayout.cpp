#include "files/PaneTreeLayout.h"

#include <QJsonArray>

namespace {

const QString kPane = QStringLiteral("pane");
const QString kGroup = QStringLiteral("group");
const QString kPath = QStringLiteral("path");
const QString kVertical = QStringLiteral("vertical");
const QString kChildren = QStringLiteral("children");
const QString kFractions = QStringLiteral("fractions");

using Decoded = std::expected<PaneTreeLayout, QString>;

QString missing(const QString& key, const QString& type)
{
    return QStringLiteral("Expected %1 for the key \"%2\".").arg(type, key);
}

Decoded decodePane(const QJsonValue& value)
{
    if (!value.isObject())
        return std::unexpected(missing(kPane, QStringLiteral("an object")));
    const QJsonValue path = value.toObject().value(kPath);
    if (!path.isString())
        return std::unexpected(missing(kPath, QStringLiteral("text")));
    return PaneTreeLayout::pane(path.toString());
}

std::expected<std::optional<std::vector<double>>, QString> decodeFractions(const QJsonValue& value)
{
    // Absent and null both mean "not recorded"; the container then equalizes.
    if (value.isUndefined() || value.isNull())
        return std::nullopt;
    if (!value.isArray())
        return std::unexpected(missing(kFractions, QStringLiteral("an array of numbers")));
    std::vector<double> fractions;
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isDouble())
            return std::unexpected(missing(kFractions, QStringLiteral("an array of numbers")));
        fractions.push_back(item.toDouble());
    }
    return fractions;
}

Decoded decodeGroup(const QJsonValue& value)
{
    if (!value.isObject())
        return std::unexpected(missing(kGroup, QStringLiteral("an object")));
    const QJsonObject object = value.toObject();
    const QJsonValue vertical = object.value(kVertical);
    if (!vertical.isBool())
        return std::unexpected(missing(kVertical, QStringLiteral("a Boolean")));
    const QJsonValue children = object.value(kChildren);
    if (!children.isArray())
        return std::unexpected(missing(kChildren, QStringLiteral("an array")));
    std::vector<PaneTreeLayout> decodedChildren;
    for (const QJsonValue& child : children.toArray()) {
        Decoded decoded = PaneTreeLayout::fromJson(child);
        if (!decoded)
            return decoded;
        decodedChildren.push_back(std::move(*decoded));
    }
    auto fractions = decodeFractions(object.value(kFractions));
    if (!fractions)
        return std::unexpected(fractions.error());
    return PaneTreeLayout::group(vertical.toBool(), std::move(decodedChildren),
                                 std::move(*fractions));
}

} // namespace

PaneTreeLayout PaneTreeLayout::pane(const QString& path)
{
    PaneTreeLayout layout;
    layout.kind = Kind::pane;
    layout.path = path;
    return layout;
}

PaneTreeLayout PaneTreeLayout::group(bool vertical, std::vector<PaneTreeLayout> children,
                                     std::optional<std::vector<double>> fractions)
{
    PaneTreeLayout layout;
    layout.kind = Kind::group;
    layout.vertical = vertical;
    layout.children = std::move(children);
    layout.fractions = std::move(fractions);
    return layout;
}

QStringList PaneTreeLayout::paths() const
{
    if (isPane())
        return {path};
    QStringList result;
    for (const PaneTreeLayout& child : children)
        result += child.paths();
    return result;
}

std::optional<PaneTreeLayout>
PaneTreeLayout::pruned(const std::function<bool(const QString&)>& keep) const
{
    if (isPane())
        return keep(path) ? std::optional(*this) : std::nullopt;
    std::vector<PaneTreeLayout> kept;
    bool removedAny = false;
    for (const PaneTreeLayout& child : children) {
        if (auto prunedChild = child.pruned(keep))
            kept.push_back(std::move(*prunedChild));
        else
            removedAny = true;
    }
    if (kept.empty())
        return std::nullopt;
    if (kept.size() == 1)
        return std::move(kept.front());
    // The old shares no longer add up once a child is gone.
    return group(vertical, std::move(kept), removedAny ? std::nullopt : fractions);
}

QJsonObject PaneTreeLayout::toJson() const
{
    if (isPane())
        return QJsonObject{{kPane, QJsonObject{{kPath, path}}}};
    QJsonArray childArray;
    for (const PaneTreeLayout& child : children)
        childArray.append(child.toJson());
    QJsonObject body{{kVertical, vertical}, {kChildren, childArray}};
    if (fractions) {
        QJsonArray fractionArray;
        for (double fraction : *fractions)
            fractionArray.append(fraction);
        body.insert(kFractions, fractionArray);
    }
    return QJsonObject{{kGroup, body}};
}

std::expected<PaneTreeLayout, QString> PaneTreeLayout::fromJson(const QJsonValue& value)
{
    if (!value.isObject())
        return std::unexpected(QStringLiteral("Expected an object for a pane layout."));
    const QJsonObject object = value.toObject();
    if (object.size() != 1)
        return std::unexpected(QStringLiteral("Invalid number of keys found, expected one."));
    const QString key = object.begin().key();
    if (key == kPane)
        return decodePane(object.value(kPane));
    if (key == kGroup)
        return decodeGroup(object.value(kGroup));
    return std::unexpected(QStringLiteral("Unknown pane layout kind \"%1\".").arg(key));
}
