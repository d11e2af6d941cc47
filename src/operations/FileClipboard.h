#pragma once

#include <QMimeData>
#include <filesystem>
#include <memory>
#include <vector>

// Files on the system clipboard, in the forms GNOME Files and Dolphin use:
// text/uri-list built from the raw path bytes, x-special/gnome-copied-files and
// application/x-kde-cutselection, so a cut in one program moves when pasted in
// another. Nothing is cached: every call reads the clipboard afresh.
namespace FileClipboard {

bool hasFiles();
std::vector<std::filesystem::path> filePaths(); // clipboard order; file URLs only
bool isCut();
void write(const std::vector<std::filesystem::path>& paths, bool cut);
void clear();

// The same on a QMimeData, for drag and drop and for tests.
std::unique_ptr<QMimeData> makeMimeData(const std::vector<std::filesystem::path>& paths, bool cut);
std::vector<std::filesystem::path> pathsIn(const QMimeData& data);
bool isCutIn(const QMimeData& data);

} // namespace FileClipboard
