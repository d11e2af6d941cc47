#pragma once

#include <QString>
#include <QStringList>
#include <filesystem>
#include <optional>
#include <vector>

// Expands and completes folder paths typed by people (the palette's path mode and
// the path bar's field), and lists a folder's siblings. Typed text stays in the
// user's notation ("~/…", relative names); folders are read byte-exact.
//
// Texts that stand for paths (the home argument, expand's result) use the lossless
// form of PathText::toStorableText, so a folder whose name is not UTF-8 still works
// as a base. complete() and siblingFolders() read the disk: call them off the main
// thread.
namespace PathCompletion {

// The resolved destination of a typed path.
struct Target {
    std::filesystem::path url;
    bool isDirectory = false;
    bool operator==(const Target&) const = default;
};

// The folders in `folder` (links to folders too), hidden ones included, sorted with
// case ignored (code points break ties). Names that are not UTF-8 cannot be typed
// and are left out. nullopt when the folder cannot be read.
std::optional<QStringList> subfolderNames(const std::filesystem::path& folder);

// "~" and "~/…" against home, "/…" as it is, "" as the base folder, anything else
// relative to the base folder.
QString expand(const QString& text, const std::filesystem::path& base, const QString& home);

// The text completed to the folder names that begin with its last component (case
// ignored): one match gets its full name and a "/", several their common prefix.
// Unchanged when nothing matches or the folder cannot be read.
QString complete(const QString& text, const std::filesystem::path& base, const QString& home);

// Case-sensitive, by whole code points.
QString longestCommonPrefix(const QStringList& texts);

// The folders in the folder's parent (the folder itself among them), in the lists'
// name order, at most limit of them. Empty when the parent cannot be read.
std::vector<std::filesystem::path> siblingFolders(const std::filesystem::path& folder,
                                                  bool includeHidden, int limit);

} // namespace PathCompletion
