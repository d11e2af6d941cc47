#include "app/SessionStore.h"

#include "core/AppDefaults.h"
#include "core/Location.h"
#include "core/PathText.h"
#include "platform/DirectoryScanner.h"
#include "tags/TagStore.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <algorithm>
#include <cmath>

namespace {

const QString kFrame = QStringLiteral("frame");
const QString kTabs = QStringLiteral("tabs");
const QString kSelectedIndex = QStringLiteral("selectedIndex");

std::optional<SavedWindow> decodeWindow(const QJsonValue& value)
{
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject object = value.toObject();
    const QJsonValue frame = object.value(kFrame);
    const QJsonValue tabs = object.value(kTabs);
    const QJsonValue selected = object.value(kSelectedIndex);
    if (!frame.isString() || !tabs.isArray() || !selected.isDouble())
        return std::nullopt;
    const double index = selected.toDouble();
    if (index != std::floor(index) || std::abs(index) > 1e9)
        return std::nullopt;
    SavedWindow window{frame.toString(), {}, int(index)};
    for (const QJsonValue& tab : tabs.toArray()) {
        auto layout = PaneLayout::fromJson(tab);
        if (!layout)
            return std::nullopt;
        window.tabs.push_back(std::move(*layout));
    }
    return window;
}

bool isTagText(const QString& text)
{
    return text.startsWith(QLatin1String(Location::kTagScheme) + QLatin1Char(':'));
}

// The same tree with every pane's path passed through `change`.
PaneTreeLayout mapped(const PaneTreeLayout& tree,
                      const std::function<QString(const QString&)>& change)
{
    if (tree.isPane())
        return PaneTreeLayout::pane(change(tree.path));
    PaneTreeLayout copy = tree;
    for (PaneTreeLayout& child : copy.children)
        child = mapped(child, change);
    return copy;
}

// A tab as it can be built now, or nullopt when none of its panes is left.
std::optional<PaneLayout> restorableTab(const PaneLayout& tab,
                                        const std::function<bool(const QString&)>& exists)
{
    const QString home = Location::folder(PathText::homeFolder()).toText();
    // A tag location that does not parse cannot be shown; the home folder stands in.
    const PaneTreeLayout tree = mapped(tab.resolvedTree(), [&](const QString& text) {
        return isTagText(text) && !Location::fromText(text).isTag() ? home : text;
    });
    std::optional<PaneTreeLayout> kept = tree.pruned(exists);
    if (!kept)
        return std::nullopt;
    // The focus stays on the same pane when it survives, counted among the survivors.
    const QStringList before = tree.paths();
    int active = 0;
    if (tab.activeIndex >= 0 && tab.activeIndex < before.size() && exists(before[tab.activeIndex]))
        active = int(std::count_if(before.begin(), before.begin() + tab.activeIndex, exists));
    PaneLayout layout;
    layout.paths = kept->paths();
    layout.activeIndex = active;
    layout.tree = std::move(*kept);
    return layout;
}

} // namespace

QByteArray SessionStore::encode(const std::vector<SavedWindow>& windows)
{
    QJsonArray array;
    for (const SavedWindow& window : windows) {
        QJsonArray tabs;
        for (const PaneLayout& tab : window.tabs)
            tabs.append(tab.toJson());
        array.append(QJsonObject{
            {kFrame, window.frame}, {kTabs, tabs}, {kSelectedIndex, window.selectedIndex}});
    }
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<std::vector<SavedWindow>> SessionStore::decode(const QByteArray& data)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isArray())
        return std::nullopt;
    std::vector<SavedWindow> windows;
    for (const QJsonValue& value : document.array()) {
        auto window = decodeWindow(value);
        if (!window)
            return std::nullopt;
        windows.push_back(std::move(*window));
    }
    return windows;
}

QString SessionStore::frameText(const QRect& frame)
{
    return QStringLiteral("{{%1, %2}, {%3, %4}}")
        .arg(frame.x())
        .arg(frame.y())
        .arg(frame.width())
        .arg(frame.height());
}

std::optional<QRect> SessionStore::frameFromText(const QString& text)
{
    static const QString number =
        QStringLiteral(R"(\s*([-+]?(?:\d+\.?\d*|\.\d+)(?:[eE][-+]?\d+)?)\s*)");
    static const QRegularExpression pattern(
        QStringLiteral(R"(^\s*\{\s*\{%1,%1\}\s*,\s*\{%1,%1\}\s*\}\s*$)").arg(number));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    int values[4];
    for (int i = 0; i < 4; ++i) {
        const double value = match.captured(i + 1).toDouble();
        if (!std::isfinite(value) || std::abs(value) > 1e6)
            return std::nullopt;
        values[i] = int(std::lround(value));
    }
    if (values[2] <= 0 || values[3] <= 0)
        return std::nullopt;
    return QRect(values[0], values[1], values[2], values[3]);
}

std::vector<SavedWindow>
SessionStore::restorable(std::vector<SavedWindow> windows,
                         const std::function<bool(const QString&)>& folderExists)
{
    std::vector<SavedWindow> result;
    for (SavedWindow& window : windows) {
        SavedWindow kept{window.frame, {}, 0};
        for (const PaneLayout& saved : window.tabs) {
            if (auto tab = restorableTab(saved, folderExists))
                kept.tabs.push_back(std::move(*tab));
        }
        if (kept.tabs.empty())
            continue;
        // The saved index is taken as it is when it still falls among the surviving tabs.
        kept.selectedIndex =
            window.selectedIndex >= 0 && window.selectedIndex < int(kept.tabs.size())
                ? window.selectedIndex
                : 0;
        result.push_back(std::move(kept));
    }
    return result;
}

bool SessionStore::locationExists(const QString& text)
{
    const Location location = Location::fromText(text);
    if (location.isTag())
        return TagStore::shared().tag(location.tagId()).has_value();
    return !location.path().empty() && location.path().is_absolute() &&
           DirectoryScanner::exists(location.path());
}

std::optional<std::vector<SavedWindow>> SessionStore::load()
{
    const QVariant value = AppDefaults::standard().value(QLatin1String(kKey));
    if (!value.isValid())
        return std::nullopt;
    return decode(value.toByteArray());
}

void SessionStore::save(const std::vector<SavedWindow>& windows)
{
    QSettings& settings = AppDefaults::standard();
    settings.setValue(QLatin1String(kKey), encode(windows));
    AppDefaults::save(settings);
}
