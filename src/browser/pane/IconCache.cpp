#include "browser/pane/IconCache.h"

#include <QApplication>
#include <QHash>
#include <QPainter>
#include <QStyle>

namespace IconCache {

namespace {

QIcon load(const QString& name)
{
    if (name == QStringLiteral("folder")) {
        QIcon icon = QIcon::fromTheme(name);
        return icon.isNull() ? QApplication::style()->standardIcon(QStyle::SP_DirIcon) : icon;
    }
    QIcon icon = QIcon::fromTheme(name);
    if (icon.isNull()) {
        // "image-png" → "image-x-generic", the freedesktop generic icon of the media type.
        const QString generic = name.section(QLatin1Char('-'), 0, 0) + QStringLiteral("-x-generic");
        icon = QIcon::fromTheme(generic);
    }
    if (icon.isNull())
        icon = QIcon::fromTheme(QStringLiteral("text-x-generic"));
    if (icon.isNull())
        icon = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
    return icon;
}

} // namespace

QIcon named(const QString& iconName)
{
    static QHash<QString, QIcon> cache;
    auto found = cache.constFind(iconName);
    if (found != cache.constEnd())
        return *found;
    QIcon icon = load(iconName);
    cache.insert(iconName, icon);
    return icon;
}

QImage tintedImage(const QImage& image, const QColor& color)
{
    QImage out = image.convertToFormat(QImage::Format_ARGB32);
    const float hue = color.hslHueF() < 0 ? 0 : color.hslHueF();
    const float saturation = color.hslSaturationF();
    for (int y = 0; y < out.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < out.width(); ++x) {
            const QColor pixel = QColor::fromRgba(line[x]);
            if (pixel.alpha() == 0)
                continue;
            line[x] = QColor::fromHslF(hue, saturation, pixel.lightnessF(), pixel.alphaF()).rgba();
        }
    }
    return out;
}

QIcon tinted(const QString& iconName, const QString& color)
{
    static QHash<QString, QIcon> cache;
    const QString key = iconName + QLatin1Char('\n') + color;
    auto found = cache.constFind(key);
    if (found != cache.constEnd())
        return *found;
    const QIcon plain = named(iconName);
    const QColor tint = QColor::fromString(color);
    QIcon icon;
    // The sizes a list row asks for, at normal and double density.
    for (int size : {16, 32, 48}) {
        const QPixmap pixmap = plain.pixmap(size, size);
        icon.addPixmap(QPixmap::fromImage(tintedImage(pixmap.toImage(), tint)));
    }
    cache.insert(key, icon);
    return icon;
}

QIcon dot(const QString& color)
{
    static QHash<QString, QIcon> cache;
    if (auto found = cache.constFind(color); found != cache.constEnd())
        return *found;
    const QColor fill = QColor::fromString(color);
    QIcon icon;
    // Drawn for normal and double density, so that it stays round on both.
    for (int size : {16, 32}) {
        const qreal rim = size / 16.0;
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setPen(QPen(fill.isValid() ? fill.darker(130) : QColor(Qt::gray), rim));
        painter.setBrush(fill.isValid() ? fill : QColor(Qt::transparent));
        painter.drawEllipse(QRectF(2 * rim, 2 * rim, size - 4 * rim, size - 4 * rim));
        painter.end();
        icon.addPixmap(pixmap);
    }
    cache.insert(color, icon);
    return icon;
}

QIcon icon(const FileEntry& entry)
{
    return named(entry.isFolder ? QStringLiteral("folder") : entry.iconName());
}

} // namespace IconCache
