#pragma once

#include "files/PaneTreeLayout.h"

#include <QJsonObject>
#include <QStringList>
#include <expected>
#include <optional>

// The saved form of one tab's panes. Old records have only paths and a divider.
struct PaneLayout {
    QStringList paths;
    int activeIndex = 0;
    std::optional<double> dividerFraction;
    std::optional<PaneTreeLayout> tree;

    static PaneLayout onePane(const QString& path);

    // The arrangement to build, also for records written before trees existed.
    PaneTreeLayout resolvedTree() const;

    QJsonObject toJson() const;
    static std::expected<PaneLayout, QString> fromJson(const QJsonValue& value);

    bool operator==(const PaneLayout&) const = default;
};
