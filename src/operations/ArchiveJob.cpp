#include "operations/ArchiveJob.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "operations/ArchiveExtractor.h"
#include "operations/ArchiveWriter.h"
#include "operations/FileTransfer.h"
#include "operations/OperationAlerts.h"
#include "operations/OperationsStore.h"
#include "operations/TransferSteps.h"
#include "platform/DirectoryScanner.h"

#include <QtConcurrent/QtConcurrent>

namespace fs = std::filesystem;

namespace {

Alert failed(const QString& message, const QString& detail)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message = message;
    alert.informativeText = detail;
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

} // namespace

ArchiveJob::ArchiveJob(std::shared_ptr<Prompter> prompter, Finished finished, QObject* parent)
    : QObject(parent)
    , m_prompter(std::move(prompter))
    , m_finished(std::move(finished))
{
}

void ArchiveJob::compress(std::vector<FileItem> items, std::shared_ptr<Prompter> prompter,
                          Finished finished, QObject* parent)
{
    QUILLO_ASSERT_MAIN_THREAD();
    auto* job = new ArchiveJob(std::move(prompter), std::move(finished), parent);
    std::vector<fs::path> paths;
    for (FileItem& item : items) {
        item.path = PathText::standardized(item.path);
        paths.push_back(item.path);
    }
    if (paths.empty()) {
        job->end(std::unexpected(ArchiveFailure{{}, true}));
        return;
    }
    Task task;
    task.kind = FileOperation::Kind::compress;
    task.itemCount = int(paths.size());
    task.measure = [paths] { return FileTransfer::totalSize(paths); };
    task.work = [paths](TransferProgress& progress) -> Outcome {
        const fs::path archive = ArchiveWriter::destinationFor(paths);
        if (auto made = ArchiveWriter::compress(paths, archive, progress); !made)
            return std::unexpected(made.error());
        return archive;
    };
    task.failureMessage = QStringLiteral("圧縮できませんでした。");
    job->runUnlessChanged(std::move(items), std::move(task));
}

void ArchiveJob::expand(FileItem archive, std::shared_ptr<Prompter> prompter, Finished finished,
                        QObject* parent)
{
    QUILLO_ASSERT_MAIN_THREAD();
    auto* job = new ArchiveJob(std::move(prompter), std::move(finished), parent);
    archive.path = PathText::standardized(archive.path);
    const fs::path path = archive.path;
    Task task;
    task.kind = FileOperation::Kind::expand;
    task.measure = [path] {
        const auto item = DirectoryScanner::statPath(path);
        return item ? item->size : int64_t(0);
    };
    task.work = [path](TransferProgress& progress) {
        return ArchiveExtractor::expand(path, progress);
    };
    task.failureMessage = QStringLiteral("「") + PathText::displayName(path) +
                          QStringLiteral("」を展開できませんでした。");
    job->runUnlessChanged({std::move(archive)}, std::move(task));
}

void ArchiveJob::runUnlessChanged(std::vector<FileItem> items, Task task)
{
    // A few lstat calls: short work, kept off the main thread all the same.
    QtConcurrent::run([items = std::move(items)]() -> std::optional<fs::path> {
        for (const FileItem& item : items) {
            if (!TransferSteps::matchesIdentity(item))
                return item.path;
        }
        return std::nullopt;
    }).then(this, [this, task = std::move(task)](const std::optional<fs::path>& changed) {
        if (!changed) {
            run(task);
            return;
        }
        if (m_prompter)
            m_prompter->present(OperationAlerts::changedSinceShown(PathText::displayName(*changed)),
                                [](Alert::Response) {});
        end(std::unexpected(ArchiveFailure{{}, true}));
    });
}

void ArchiveJob::run(Task task)
{
    m_failureMessage = task.failureMessage;
    m_operation = new FileOperation(task.kind, task.itemCount);
    OperationsStore::shared().start(m_operation);

    QtConcurrent::run(&WorkPools::archives(), task.measure)
        .then(this, [operation = m_operation](int64_t total) {
            if (operation)
                operation->setTotalBytes(total);
        });

    m_operation->startPolling();

    QtConcurrent::run(&WorkPools::archives(), [work = std::move(task.work),
                                               progress = m_operation->sharedProgress()] {
        return work(*progress);
    }).then(this, [this](const Outcome& outcome) { end(outcome); });
}

// A cancel from the panel ends quietly; a failure is told, without waiting for the
// answer, since nothing more depends on it.
void ArchiveJob::end(const Outcome& outcome)
{
    if (m_operation) {
        m_operation->syncFromProgress();
        OperationsStore::shared().finish(m_operation);
    }
    if (!outcome && !outcome.error().cancelled && m_prompter)
        m_prompter->present(failed(m_failureMessage, outcome.error().detail),
                            [](Alert::Response) {});
    if (m_finished)
        m_finished(outcome ? std::optional<fs::path>(*outcome) : std::nullopt);
    deleteLater();
}
