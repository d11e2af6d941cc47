#pragma once

#include "operations/ArchiveFailure.h"
#include "operations/FileOperation.h"
#include "operations/FileOperationManager.h"

#include <QObject>
#include <QPointer>
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

private:
    using Outcome = ArchiveResult<std::filesystem::path>;
    struct Task {
        FileOperation::Kind kind = FileOperation::Kind::compress;
        int itemCount = 1;
        std::function<int64_t()> measure;               // the byte total, on the pool
        std::function<Outcome(TransferProgress&)> work; // on the pool
        QString failureMessage;
    };

    ArchiveJob(std::shared_ptr<Prompter> prompter, Finished finished, QObject* parent);
    // Runs `task` unless an item now names another file than the one the user saw.
    void runUnlessChanged(std::vector<FileItem> items, Task task);
    void run(Task task);
    void end(const Outcome& outcome);

    std::shared_ptr<Prompter> m_prompter;
    Finished m_finished;
    QString m_failureMessage;
    QPointer<FileOperation> m_operation;
};
