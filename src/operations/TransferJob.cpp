#include "operations/TransferJob.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "operations/FileOperation.h"
#include "operations/FileTransfer.h"
#include "operations/OperationAlerts.h"
#include "operations/OperationsStore.h"
#include "platform/FileCopierLinks.h"

#include <QtConcurrent/QtConcurrent>

namespace fs = std::filesystem;
using TransferSteps::Probe;

TransferJob::TransferJob(std::vector<FileItem> sources, const fs::path& destinationFolder,
                         TransferMode mode, std::shared_ptr<Prompter> prompter, QObject* parent)
    : QObject(parent)
    , m_sources(std::move(sources))
    , m_prompter(std::move(prompter))
    , m_links(std::make_shared<CopiedLinks>())
{
    for (FileItem& item : m_sources)
        item.path = PathText::standardized(item.path);
    m_record.mode = mode;
    m_record.destinationFolder = PathText::standardized(destinationFolder);
}

TransferJob::~TransferJob() = default;

void TransferJob::start(Finished finished)
{
    QUILLO_ASSERT_MAIN_THREAD();
    m_finished = std::move(finished);
    if (m_sources.empty()) {
        end();
        return;
    }
    if (refuseFolderIntoItself())
        return;
    beginOperation();
    processNext();
}

// Checked for every item before any is touched.
bool TransferJob::refuseFolderIntoItself()
{
    const fs::path& folder = m_record.destinationFolder;
    for (const FileItem& item : m_sources) {
        if (folder == item.path || TransferSteps::isInside(folder, item.path)) {
            const Alert alert =
                OperationAlerts::insideItself(PathText::displayName(item.path), m_record.mode);
            ask(alert, [this](Alert::Response) { end(); });
            return true;
        }
    }
    return false;
}

void TransferJob::beginOperation()
{
    const auto kind =
        m_record.mode == TransferMode::copy ? FileOperation::Kind::copy : FileOperation::Kind::move;
    m_operation = new FileOperation(kind, int(m_sources.size()));
    m_progress = m_operation->sharedProgress();
    OperationsStore::shared().start(m_operation);

    std::vector<fs::path> paths;
    for (const FileItem& item : m_sources)
        paths.push_back(item.path);
    QtConcurrent::run(&WorkPools::transfers(), [paths] {
        return FileTransfer::totalSize(paths);
    }).then(this, [operation = m_operation](int64_t total) {
        if (operation)
            operation->setTotalBytes(total);
    });

    m_operation->startPolling();
}

void TransferJob::processNext()
{
    // A cancel from the panel ends the whole transfer; what is done stays done.
    if (m_index >= m_sources.size() || m_progress->isCancelled()) {
        end();
        return;
    }
    QtConcurrent::run([item = current(), folder = m_record.destinationFolder,
                       mode = m_record.mode] {
        return TransferSteps::probe(item, folder, mode);
    }).then(this, [this](const Probe& probe) { probed(probe); });
}

void TransferJob::probed(const Probe& probe)
{
    TransferSteps::Request request{current(), probe.destination, m_record.mode};
    switch (probe.kind) {
    case Probe::Kind::changed:
        tellThenContinue(OperationAlerts::changedSinceShown(PathText::displayName(current().path)));
        return;
    case Probe::Kind::skip:
        next();
        return;
    case Probe::Kind::free:
        perform(std::move(request));
        return;
    case Probe::Kind::duplicate:
        request.keepBoth = true;
        perform(std::move(request));
        return;
    case Probe::Kind::conflict:
        if (m_choiceForAll)
            decide(*m_choiceForAll, probe);
        else
            askConflict(probe);
        return;
    }
}

void TransferJob::askConflict(const Probe& probe)
{
    const int remaining = int(m_sources.size() - m_index);
    const Alert alert =
        OperationAlerts::conflict(PathText::displayName(probe.destination), remaining);
    ask(alert, [this, probe, remaining](Alert::Response response) {
        // Dismissing the question stops, like Escape.
        const Choice choice = response.button >= 0 && response.button <= int(Choice::stop)
                                  ? Choice(response.button)
                                  : Choice::stop;
        if (response.suppressed && remaining >= 2)
            m_choiceForAll = choice;
        decide(choice, probe);
    });
}

void TransferJob::decide(Choice choice, const Probe& probe)
{
    TransferSteps::Request request{current(), probe.destination, m_record.mode};
    switch (choice) {
    case Choice::keepBoth:
        request.keepBoth = true;
        perform(std::move(request));
        return;
    case Choice::replace:
        // The refused item alone is left out; the others still go, as with an error.
        if (TransferSteps::isInside(current().path, probe.destination)) {
            tellThenContinue(
                OperationAlerts::containsSource(PathText::displayName(probe.destination)));
            return;
        }
        request.replace = true;
        perform(std::move(request));
        return;
    case Choice::skip:
        next();
        return;
    case Choice::stop:
        end();
        return;
    }
}

void TransferJob::perform(TransferSteps::Request request)
{
    if (m_progress->isCancelled()) {
        end();
        return;
    }
    request.links = m_links;
    QtConcurrent::run(&WorkPools::transfers(), [request = std::move(request),
                                                progress = m_progress] {
        return TransferSteps::perform(request, *progress);
    }).then(this, [this](const TransferSteps::Outcome& outcome) { performed(outcome); });
}

// An item that fails is reported and the transfer goes on with the next one: the
// items are independent, and stopping would leave the rest undone for no reason.
void TransferJob::performed(const TransferSteps::Outcome& outcome)
{
    const QString name = PathText::displayName(current().path);
    if (outcome.changed) {
        tellThenContinue(OperationAlerts::changedSinceShown(name));
        return;
    }
    if (outcome.error) {
        if (outcome.error->cancelled)
            end();
        else
            tellThenContinue(OperationAlerts::transferFailed(name, m_record.mode, *outcome.error,
                                                             outcome.noTrash));
        return;
    }
    m_record.pairs.emplace_back(current().path, outcome.destination);
    if (outcome.replaced)
        m_record.replaced.push_back(*outcome.replaced);
    next();
}

void TransferJob::tellThenContinue(const Alert& alert)
{
    ask(alert, [this](Alert::Response) { next(); });
}

void TransferJob::next()
{
    ++m_index;
    processNext();
}

void TransferJob::end()
{
    if (m_operation) {
        m_operation->syncFromProgress();
        OperationsStore::shared().finish(m_operation);
    }
    if (m_finished)
        m_finished(std::move(m_record));
    deleteLater();
}

void TransferJob::ask(const Alert& alert, std::function<void(Alert::Response)> answered)
{
    if (!m_prompter) {
        answered(Alert::Response{});
        return;
    }
    // The prompter may outlive the job's window; the guard drops a late answer.
    m_prompter->present(alert, [guard = QPointer<TransferJob>(this),
                                answered = std::move(answered)](Alert::Response response) {
        if (guard)
            answered(response);
    });
}
