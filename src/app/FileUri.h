#pragma once

#include <QByteArrayView>
#include <filesystem>
#include <optional>

// Local file URIs as other programs hand them over (the desktop entry's %U,
// FileManager1). Decoding goes straight to bytes, so names that are not UTF-8 survive.
namespace FileUri {

// True when the text starts with a scheme and "://" ("file://", "sftp://", ...);
// anything else on a command line is a path, "notes:1" included.
bool isUri(QByteArrayView text);

// The path of a "file://" URI on this host; nullopt for other schemes and hosts.
std::optional<std::filesystem::path> toPath(QByteArrayView uri);

} // namespace FileUri
