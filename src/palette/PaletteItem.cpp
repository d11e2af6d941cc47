#include "palette/PaletteItem.h"

std::filesystem::path PaletteItem::location() const
{
    if (const auto* folder = std::get_if<Folder>(&kind))
        return folder->path;
    if (const auto* file = std::get_if<File>(&kind))
        return file->path;
    if (const auto* path = std::get_if<Path>(&kind))
        return path->path;
    return {};
}

namespace PaletteModes {

PaletteMode detect(const QString& query)
{
    if (query.isEmpty())
        return PaletteMode::Empty;
    switch (query.front().unicode()) {
    case u'>':
        return PaletteMode::Command;
    case u'/':
    case u'~':
        return PaletteMode::Path;
    case u'@':
        return PaletteMode::File;
    case u'#':
        return PaletteMode::Sidebar;
    default:
        return PaletteMode::Mixed;
    }
}

QString searchText(const QString& query, PaletteMode mode)
{
    switch (mode) {
    case PaletteMode::Command:
    case PaletteMode::File:
    case PaletteMode::Sidebar:
        return query.mid(1);
    default:
        return query;
    }
}

} // namespace PaletteModes
