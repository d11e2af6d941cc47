#pragma once

#include "insight/GitFileStatus.h"

#include <QByteArrayView>
#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// The parsed result of one `git status` run: immutable once made, shared with the
// list as a whole. Paths are root-relative, "/"-separated, byte-exact (git prints
// names as they are on disk with -z).
struct GitSnapshot {
    std::filesystem::path root;
    QString branch;
    std::unordered_map<std::string, GitFileStatus> statuses;
    std::vector<std::string> untrackedFolders; // without the trailing "/"
    std::vector<std::string> ignoredFolders;
    std::unordered_set<std::string> changedFolders; // ancestors of every non-ignored entry

    // Parses the NUL-separated output of
    // `git status --porcelain=v1 -z --branch --ignored`.
    static GitSnapshot parse(QByteArrayView output, const std::filesystem::path& root);

    // The state of an absolute path below the root, or nothing.
    std::optional<GitFileStatus> status(const std::filesystem::path& path) const;
    // Entries that are not ignored.
    int changeCount() const;

    bool operator==(const GitSnapshot&) const = default;
};
