#pragma once

#include <QColor>
#include <QString>
#include <optional>
#include <string_view>

// The Git state of one row.
enum class GitFileStatus { modified, added, untracked, deleted, renamed, conflicted, ignored };

// The case name ("modified", "added", ...), as quillo-tool prints it.
std::string_view gitStatusName(GitFileStatus status);
// The row's tooltip. A folder reported as modified contains changes rather than
// being changed itself, and says so.
QString gitStatusLabel(GitFileStatus status, bool isFolder);
// The colour of the row's mark.
QColor gitStatusColor(GitFileStatus status);
