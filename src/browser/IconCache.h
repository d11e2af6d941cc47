#pragma once

#include "files/FileEntry.h"

#include <QIcon>

// Theme icons by MIME icon name, made once per type: the list asks on every redraw.
namespace IconCache {

QIcon icon(const FileEntry& entry);
QIcon named(const QString& iconName);

} // namespace IconCache
