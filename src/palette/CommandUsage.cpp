#include "palette/CommandUsage.h"

#include "core/AppDefaults.h"

#include <QVariantList>
#include <QVariantMap>

namespace {

constexpr const char* kKey = "paletteCommandUsage";

QVariantMap stored()
{
    const QVariant value = AppDefaults::store().value(kKey);
    return value.typeId() == QMetaType::QVariantMap ? value.toMap() : QVariantMap();
}

// Numbers only: a text that happens to parse is not a count.
std::optional<double> number(const QVariant& value)
{
    switch (value.typeId()) {
    case QMetaType::Double:
    case QMetaType::Int:
    case QMetaType::LongLong:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
        return value.toDouble();
    default:
        return std::nullopt;
    }
}

} // namespace

namespace CommandUsage {

QHash<QString, Usage> all()
{
    QHash<QString, Usage> usage;
    const QVariantMap map = stored();
    for (auto it = map.begin(); it != map.end(); ++it) {
        if (it.value().typeId() != QMetaType::QVariantList)
            continue;
        const QVariantList pair = it.value().toList();
        const auto count = pair.size() >= 1 ? number(pair[0]) : std::nullopt;
        if (!count)
            continue;
        const auto last = pair.size() >= 2 ? number(pair[1]) : std::nullopt;
        usage.insert(it.key(), Usage{*count, last.value_or(0)});
    }
    return usage;
}

void record(const QString& action, const QDateTime& now)
{
    QVariantMap map = stored();
    const QVariant previous = map.value(action);
    double count = 1;
    if (previous.typeId() == QMetaType::QVariantList && !previous.toList().isEmpty()) {
        if (const auto stored = number(previous.toList().first()))
            count = *stored + 1;
    }
    map.insert(action, QVariantList{count, double(now.toMSecsSinceEpoch()) / 1000.0});
    AppDefaults::store().setValue(kKey, map);
}

} // namespace CommandUsage
