#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <expected>
#include <functional>
#include <optional>
#include <vector>

// How a tab's panes are arranged: a pane, or a split group of sub-layouts.
// Paths are location texts (Location::toText()).
struct PaneTreeLayout {
    enum class Kind { pane, group };

    Kind kind = Kind::pane;
    QString path;                                 // pane
    bool vertical = true;                         // group: true = side by side
    std::vector<PaneTreeLayout> children;         // group
    std::optional<std::vector<double>> fractions; // group: shares along the split axis

    static PaneTreeLayout pane(const QString& path);
    static PaneTreeLayout group(bool vertical, std::vector<PaneTreeLayout> children,
                                std::optional<std::vector<double>> fractions = std::nullopt);

    bool isPane() const { return kind == Kind::pane; }

    // Every pane's path, depth first, children in order.
    QStringList paths() const;
    // Without the panes whose path fails `keep`; nullopt when no pane remains.
    std::optional<PaneTreeLayout> pruned(const std::function<bool(const QString&)>& keep) const;

    QJsonObject toJson() const;
    // Fails with the decoder's message, e.g. "Invalid number of keys found, expected one."
    static std::expected<PaneTreeLayout, QString> fromJson(const QJsonValue& value);

    bool operator==(const PaneTreeLayout&) const = default;
};
