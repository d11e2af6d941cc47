#pragma once

#include "operations/FileOperationManager.h"
#include "operations/TransferSteps.h"

#include <QObject>
#include <QPointer>
#include <functional>
#include <memory>
#include <optional>

class FileOperation;

// One copy or move of a list of items: the items are taken one at a time, the
// file work of each on the thread pool, the questions on the main thread in
// between. Shows itself in the operations store while it runs and deletes
// itself when it ends, handing over the record of what was done.
class TransferJob : public QObject {
    Q_OBJECT
public:
    using Finished = std::function<void(TransferRecord)>;

    TransferJob(std::vector<FileItem> sources, const std::filesystem::path& destinationFolder,
                TransferMode mode, std::shared_ptr<Prompter> prompter, QObject* parent);
    ~TransferJob() override;

    void start(Finished finished);

private:
    enum class Choice { keepBoth, replace, skip, stop }; // the conflict buttons, in order

    bool refuseFolderIntoItself();
    void beginOperation();
    void processNext();
    void probed(const TransferSteps::Probe& probe);
    void askConflict(const TransferSteps::Probe& probe);
    void decide(Choice choice, const TransferSteps::Probe& probe);
    void perform(TransferSteps::Request request);
    void performed(const TransferSteps::Outcome& outcome);
    void tellThenContinue(const Alert& alert);
    void next();
    void end();
    void ask(const Alert& alert, std::function<void(Alert::Response)> answered);
    const FileItem& current() const { return m_sources[m_index]; }

    std::vector<FileItem> m_sources;
    TransferRecord m_record;
    std::shared_ptr<Prompter> m_prompter;
    size_t m_index = 0;
    std::optional<Choice> m_choiceForAll;
    QPointer<FileOperation> m_operation;
    std::shared_ptr<TransferProgress> m_progress;
    std::shared_ptr<CopiedLinks> m_links; // hard links among the items stay links
    Finished m_finished;
};
