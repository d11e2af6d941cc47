#pragma once

#include "operations/FileOperationManager.h"

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// One compress or expand, shown in the operations store (kinds compress and
// expand) with byte progress and cancel while the work runs on the archives pool.
// A failure is told through the prompter ("圧縮できませんでした。" or
// "「name」を展開できませんでした。", the reason as informative text); a cancel
// tells nothing. Deletes itself when it ends, handing over what it made.
class ArchiveJob : public QObject {
    Q_OBJECT
public:
    using Finished = std::function<void(std::optional<std::filesystem::path>)>;

    static void compress(std::vector<FileItem> items, std::shared_ptr<Prompter> prompter,
                         Finished finished, QObject* parent);
    static void expand(FileItem archive, std::shared_ptr<Prompter> prompter, Finished finished,
                       QObject* parent);
};
