#pragma once

#include "insight/GitSnapshot.h"

#include <QFuture>
#include <chrono>
#include <filesystem>
#include <optional>

// Finds working trees and asks the `git` command line for their status. The
// blocking calls run on background threads only; status queries never take the
// index lock and never let a repository's configuration start a program of its own.
namespace GitRepository {

// The nearest folder at or above `path` (its parent when it is not a folder) that
// holds a ".git" item, file or folder; nothing up to "/".
std::optional<std::filesystem::path> root(const std::filesystem::path& path);

// How long one git run may take before it is killed (a slow disk, a huge tree).
constexpr std::chrono::milliseconds kTimeLimit{5000};

// Runs `git status` in `root`; nothing when git is missing, fails, exits non-zero or
// takes longer than `limit`. Blocks: never call it on the main thread.
std::optional<GitSnapshot> snapshot(const std::filesystem::path& root,
                                    std::chrono::milliseconds limit = kTimeLimit);

// root() and snapshot() of the folder on a pool thread; nothing outside a working tree.
QFuture<std::optional<GitSnapshot>> snapshotInBackground(const std::filesystem::path& folder);

} // namespace GitRepository
