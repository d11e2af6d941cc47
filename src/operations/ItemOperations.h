#pragma once

#include "operations/Alert.h"
#include "operations/FileOperationManager.h"
#include "platform/Error.h"
#include "platform/Trash.h"

#include <QString>
#include <filesystem>
#include <optional>
#include <vector>

// The file work of the manager's one-step operations (Trash, deletion, new items,
// renames), run on a pool. Each checks that an item is still the one the person saw
// and answers what happened and what to tell.
namespace ItemOperations {

struct TrashOutcome {
    std::vector<TrashedItem> trashed;
    std::vector<FileItem> withoutTrash; // on a volume with no usable trash
    std::vector<Alert> failures;
};
TrashOutcome trashItems(const std::vector<FileItem>& items);

struct Removal {
    std::vector<std::filesystem::path> removed;
    std::vector<Alert> failures;
};
Removal removeAll(const std::vector<FileItem>& items);

struct Creation {
    std::filesystem::path path;
    std::optional<Error> error;
};
// "名称未設定フォルダ" or "名称未設定.txt", made free with the numbered style.
Creation makeUntitled(const std::filesystem::path& folder, bool isDirectory);

// Nullopt when renamed, else what to tell.
std::optional<Alert> renameChecked(const FileItem& item, const std::filesystem::path& to,
                                   const QString& newName);
std::optional<Alert>
renameAll(const std::vector<FileItem>& items,
          const std::vector<std::pair<std::filesystem::path, std::filesystem::path>>& plan);

} // namespace ItemOperations
