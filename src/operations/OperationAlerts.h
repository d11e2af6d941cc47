#pragma once

#include "operations/Alert.h"
#include "platform/Error.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

enum class TransferMode;

// The questions and messages of the operation manager, in the exact Japanese
// wording, with their buttons. Building them here keeps the flow code short.
namespace OperationAlerts {

QString verb(TransferMode mode); // "コピー", "移動"

Alert confirmTransfer(int count, const std::filesystem::path& destination, TransferMode mode);
Alert insideItself(const QString& name, TransferMode mode);
// Buttons: 0 keep both, 1 replace, 2 skip, 3 stop.
Alert conflict(const QString& name, int remaining);
Alert containsSource(const QString& name);
Alert transferFailed(const QString& name, TransferMode mode, const Error& error,
                     bool noTrash = false);
Alert changedSinceShown(const QString& name);

// Buttons: 0 "削除" (destructive, not on Return), 1 "キャンセル" (Return).
Alert confirmDeletion(const std::vector<std::filesystem::path>& paths);
Alert confirmDeletionWithoutTrash(const QString& name);
Alert deletionFailed(const QString& name, const Error& error);
Alert trashFailed(const QString& name, const Error& error);

Alert message(const QString& text);
Alert nameTaken(const QString& newName);
Alert renameFailed(const QString& name, const Error& error);
Alert creationFailed(const QString& name, const Error& error);
Alert undoFailed(const QString& name, const Error& error);
Alert redoFailed(const QString& name, const Error& error);

// Shows the alerts one after another (each after the previous one is answered),
// then calls `done`. A null prompter shows nothing.
void presentInOrder(std::shared_ptr<Prompter> prompter, std::vector<Alert> alerts,
                    std::function<void()> done = {});

} // namespace OperationAlerts
