#pragma once

#include "operations/TransferProgress.h"
#include "platform/Error.h"

#include <filesystem>
#include <vector>

// Copies and moves single items for the operation manager, reporting into a
// TransferProgress and stopping when it is cancelled. Runs off the main thread.
class CopiedLinks;

namespace FileTransfer {

// `destination` is the full path of the item to create; EEXIST when something is
// there (a dangling link counts). A failed or cancelled copy leaves nothing behind
// (a copy cancelled right after it succeeded is removed too); the error then
// carries the failing file's errno, or the cancellation mark.
// `links`, shared by the items of one job, keeps hard links among them links.
Result<void> copyItem(const std::filesystem::path& source, const std::filesystem::path& destination,
                      TransferProgress& progress, CopiedLinks* links = nullptr);

// Same volume: a rename (no progress), falling back to copy on EXDEV. Otherwise the
// copy is written and synced, then the source removed; when that removal fails the
// error is returned and both copies stay.
Result<void> moveItem(const std::filesystem::path& source, const std::filesystem::path& destination,
                      bool sameVolume, TransferProgress& progress, CopiedLinks* links = nullptr);

// `error` as the user should see it: a path inside the hidden item (a staged copy,
// a replacement made beside the old item) is named inside `visible` instead.
Error visibleError(Error error, const std::filesystem::path& hidden,
                   const std::filesystem::path& visible);

// Bytes of the regular files in the items, links not followed; the progress target.
int64_t totalSize(const std::vector<std::filesystem::path>& paths);

bool isDirectory(const std::filesystem::path& path); // lstat: a link is not a folder
bool isSameFile(const std::filesystem::path& a, const std::filesystem::path& b);
bool isSameVolume(const std::filesystem::path& a, const std::filesystem::path& b);

} // namespace FileTransfer
