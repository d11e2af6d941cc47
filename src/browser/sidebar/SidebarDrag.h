#pragma once

#include "tags/SidebarItem.h"

#include <QString>
#include <QUuid>
#include <optional>

class QMimeData;

// A row of the sidebar on its way to another place in the sidebar: a section
// header, an item of a section (with the section that holds it) or a tag of the
// tag tree. Travels as its own MIME type, so that a drop onto a pane or another
// program never takes it for files.
struct SidebarDrag {
    enum class Kind { section, item, tag };

    Kind kind = Kind::item;
    QString sectionID; // the dragged section, or the section holding the item
    SidebarItem item;  // Kind::item
    QUuid tagID;       // Kind::tag

    static const QString mimeType;

    QMimeData* toMimeData() const;
    // Nullopt when the data holds no sidebar row, or one that does not parse.
    static std::optional<SidebarDrag> from(const QMimeData& data);
};
