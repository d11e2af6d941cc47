#pragma once

#include <QByteArrayView>
#include <filesystem>
#include <optional>
#include <string>

// Local file URIs, made for and taken from other programs (the clipboard, the desktop
// entry's %U, FileManager1, thumbnails, web pages). Both ways go straight from and to
// the path bytes, so names that are not UTF-8 survive (QUrl would mangle them).
namespace FileUri {

// True when the text starts with a scheme and "://" ("file://", "sftp://", ...);
// anything else on a command line is a path, "notes:1" included.
bool isUri(QByteArrayView text);

// "file://" and the path's bytes, each byte but the unreserved ones and "/"
// percent-encoded in upper case.
std::string fromPath(const std::filesystem::path& absolute);

// The path of a "file://" URI on this host; nullopt for other schemes and hosts.
std::optional<std::filesystem::path> toPath(QByteArrayView uri);

} // namespace FileUri
