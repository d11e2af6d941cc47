#pragma once

#include "files/FileEntry.h"

#include <QIcon>
#include <QImage>

// Theme icons by MIME icon name, made once per type: the list asks on every redraw.
namespace IconCache {

QIcon icon(const FileEntry& entry);
QIcon named(const QString& iconName);
// The named icon recoloured: hue and saturation of `color` ("#RRGGBB"), lightness
// and transparency of the icon, per pixel. Made once per icon and colour.
QIcon tinted(const QString& iconName, const QString& color);
// A tag's colour as a round dot with a darker rim; made once per colour. A colour
// that does not parse gives an empty grey ring.
QIcon dot(const QString& color);
// The recolouring itself, for one image.
QImage tintedImage(const QImage& image, const QColor& color);

} // namespace IconCache
