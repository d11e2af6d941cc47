#include "tags/Tag.h"

#include <QColor>
#include <QStringList>

QString Tag::leafName() const
{
    const QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    return parts.isEmpty() ? name : parts.last();
}

std::optional<QString> Tag::parentName() const
{
    QStringList parts = name.split(QLatin1Char('/'), Qt::SkipEmptyParts);
    if (parts.size() < 2)
        return std::nullopt;
    parts.removeLast();
    return parts.join(QLatin1Char('/'));
}

bool Tag::isAncestorOf(const QString& otherName) const
{
    return otherName.size() > name.size() + 1 && otherName.startsWith(name) &&
           otherName.at(name.size()) == QLatin1Char('/');
}

namespace TagNames {

QString normalized(const QString& name)
{
    QStringList kept;
    for (const QString& piece : name.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        const QString trimmed = piece.trimmed();
        if (!trimmed.isEmpty())
            kept << trimmed;
    }
    return kept.join(QLatin1Char('/'));
}

std::optional<QString> colorText(const QString& color)
{
    QColor parsed = QColor::fromString(color.trimmed());
    if (!parsed.isValid())
        return std::nullopt;
    const QColor srgb = parsed.toRgb();
    auto channel = [](float value) { return int(std::lround(value * 255.0f)); };
    return QString::asprintf("#%02X%02X%02X", channel(srgb.redF()), channel(srgb.greenF()),
                             channel(srgb.blueF()));
}

} // namespace TagNames
