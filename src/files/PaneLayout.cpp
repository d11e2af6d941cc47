#include "files/PaneLayout.h"

#include "core/Location.h"
#include "core/PathText.h"

#include <QJsonArray>
#include <cmath>
#include <limits>

namespace {

const QString kPaths = QStringLiteral("paths");
const QString kActiveIndex = QStringLiteral("activeIndex");
const QString kDividerFraction = QStringLiteral("dividerFraction");
const QString kTree = QStringLiteral("tree");

bool isAbsent(const QJsonValue& value)
{
    return value.isUndefined() || value.isNull();
}

std::expected<QStringList, QString> decodePaths(const QJsonValue& value)
{
    const QString message = QStringLiteral("Expected an array of text for the key \"paths\".");
    if (!value.isArray())
        return std::unexpected(message);
    QStringList paths;
    for (const QJsonValue& item : value.toArray()) {
        if (!item.isString())
            return std::unexpected(message);
        paths.append(item.toString());
    }
    return paths;
}

std::expected<int, QString> decodeIndex(const QJsonValue& value)
{
    const double number = value.toDouble();
    if (!value.isDouble() || number != std::floor(number) ||
        number < double(std::numeric_limits<int>::min()) ||
        number > double(std::numeric_limits<int>::max()))
        return std::unexpected(QStringLiteral("Expected an integer for the key \"activeIndex\"."));
    return int(number);
}

} // namespace

PaneLayout PaneLayout::onePane(const QString& path)
{
    PaneLayout layout;
    layout.paths = {path};
    return layout;
}

PaneTreeLayout PaneLayout::resolvedTree() const
{
    if (tree)
        return *tree;
    if (paths.isEmpty())
        return PaneTreeLayout::pane(Location::folder(PathText::homeFolder()).toText());
    if (paths.size() == 1)
        return PaneTreeLayout::pane(paths.front());
    // Records without a tree held at most two panes; anything beyond is dropped.
    std::optional<std::vector<double>> fractions;
    if (dividerFraction && paths.size() == 2)
        fractions = std::vector<double>{*dividerFraction, 1.0 - *dividerFraction};
    return PaneTreeLayout::group(true,
                                 {PaneTreeLayout::pane(paths[0]), PaneTreeLayout::pane(paths[1])},
                                 std::move(fractions));
}

QJsonObject PaneLayout::toJson() const
{
    QJsonObject object{{kPaths, QJsonArray::fromStringList(paths)}, {kActiveIndex, activeIndex}};
    if (dividerFraction)
        object.insert(kDividerFraction, *dividerFraction);
    if (tree)
        object.insert(kTree, tree->toJson());
    return object;
}

std::expected<PaneLayout, QString> PaneLayout::fromJson(const QJsonValue& value)
{
    if (!value.isObject())
        return std::unexpected(QStringLiteral("Expected an object for a pane layout record."));
    const QJsonObject object = value.toObject();
    PaneLayout layout;
    auto paths = decodePaths(object.value(kPaths));
    if (!paths)
        return std::unexpected(paths.error());
    layout.paths = std::move(*paths);
    auto index = decodeIndex(object.value(kActiveIndex));
    if (!index)
        return std::unexpected(index.error());
    layout.activeIndex = *index;

    const QJsonValue divider = object.value(kDividerFraction);
    if (!isAbsent(divider)) {
        if (!divider.isDouble())
            return std::unexpected(
                QStringLiteral("Expected a number for the key \"dividerFraction\"."));
        layout.dividerFraction = divider.toDouble();
    }
    const QJsonValue tree = object.value(kTree);
    if (!isAbsent(tree)) {
        auto decoded = PaneTreeLayout::fromJson(tree);
        if (!decoded)
            return std::unexpected(decoded.error());
        layout.tree = std::move(*decoded);
    }
    return layout;
}
