#include "operations/FileTransfer.h"

#include "core/PathText.h"
#include "operations/StagingJournal.h"
#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"
#include "platform/FileCopierLinks.h"

#include <QtGlobal>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

// Carries the copier's stages into the shared progress record; returning false
// stops the copy at the next file or chunk after a cancel.
class ProgressObserver final : public CopyObserver {
public:
    explicit ProgressObserver(TransferProgress& progress)
        : m_progress(progress)
    {
    }
    bool fileStarted(const fs::path& source) override
    {
        m_progress.fileStarted(PathText::displayName(source));
        return !m_progress.isCancelled();
    }
    bool dataCopied(int64_t bytesOfThisFile) override
    {
        m_progress.setCurrentFileBytes(bytesOfThisFile);
        return !m_progress.isCancelled();
    }
    bool fileFinished() override
    {
        m_progress.fileFinished();
        return !m_progress.isCancelled();
    }

private:
    TransferProgress& m_progress;
};

std::unexpected<Error> existsError(const fs::path& destination)
{
    return std::unexpected(Error::fromErrno(EEXIST, destination));
}

// Everything needed to settle a staged copy; the ticket keeps it in the journal
// until the copy is in place (and, for a move, its source removed).
struct Staged {
    fs::path path;
    StagingJournal::Ticket ticket;
};

Staged stage(const fs::path& source, const fs::path& destination, bool move)
{
    StagingJournal& journal = StagingJournal::shared();
    // What a killed transfer left (here or elsewhere) goes before anything new is staged.
    (void)journal.recover();
    // The copy is written under a hidden name beside its destination and renamed into
    // place when complete, so that after a crash or a kill no partial item stands
    // under a visible name.
    fs::path path = journal.stagingPath(destination);
    if (!move)
        return {std::move(path), {}};
    auto ticket = journal.begin(
        {StagingJournal::Kind::move, path, destination, source, FileCopier::identity(source), {}});
    return {std::move(path), std::move(ticket)};
}

Result<void> copyWith(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress, FileCopier::Options options, Staged& staged)
{
    const fs::path& staging = staged.path;
    ProgressObserver observer(progress);
    auto copied = FileCopier::copyTree(source, staging, observer, options);
    // Bytes of a file cut short still count as done, as the poller last showed them.
    progress.fileFinished();
    if (copied && !progress.isCancelled()) {
        if (options.syncData) {
            if (const auto copy = FileCopier::identity(staging))
                staged.ticket.markCopied(*copy);
        }
        // Something that appeared at the destination meanwhile is never replaced.
        copied = FileCopier::renameNoReplace(staging, destination);
        if (copied && options.links)
            options.links->moved(staging, destination);
        if (copied)
            return {};
    }
    if (options.links)
        options.links->forget(staging);
    // What cannot be removed now is removed at the next start: its folder is journalled.
    (void)FileCopier::removeCopy(staging);
    if (progress.isCancelled())
        return std::unexpected(Error::cancellation());
    return std::unexpected(FileTransfer::visibleError(copied.error(), staging, destination));
}

} // namespace

namespace FileTransfer {

Result<void> copyItem(const fs::path& source, const fs::path& destination,
                      TransferProgress& progress, CopiedLinks* links)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    Staged staged = stage(source, destination, false);
    return copyWith(source, destination, progress, {.links = links}, staged);
}

Result<void> moveItem(const fs::path& source, const fs::path& destination, bool sameVolume,
                      TransferProgress& progress, CopiedLinks* links)
{
    if (DirectoryScanner::exists(destination))
        return existsError(destination);
    if (sameVolume) {
        const auto renamed = FileCopier::renameNoReplace(source, destination);
        if (renamed || renamed.error().code != EXDEV)
            return renamed;
    }
    // The source goes only once its copy is on disk; until it is gone the journal
    // knows the move is half done.
    Staged staged = stage(source, destination, true);
    if (auto copied =
            copyWith(source, destination, progress, {.syncData = true, .links = links}, staged);
        !copied)
        return copied;
    return FileCopier::removeTree(source);
}

Error visibleError(Error error, const fs::path& hidden, const fs::path& visible)
{
    // Matched by the hidden item's own name, not as a prefix: paths reach us spelt in
    // other ways too ("a//b", "./a", relative to a folder).
    const fs::path name = hidden.filename();
    fs::path rest;
    bool found = false;
    for (const fs::path& component : error.path) {
        if (found)
            rest /= component;
        else
            found = component == name;
    }
    if (found)
        error.path = rest.empty() ? visible : visible / rest;
    return error;
}

int64_t totalSize(const std::vector<fs::path>& paths)
{
    int64_t total = 0;
    for (const fs::path& path : paths) {
        if (__builtin_add_overflow(total, FileCopier::totalSize(path), &total))
            qFatal("FileTransfer::totalSize: overflow");
    }
    return total;
}

bool isDirectory(const fs::path& path)
{
    const auto item = DirectoryScanner::statPath(path);
    return item && S_ISDIR(item->mode);
}

bool isSameFile(const fs::path& a, const fs::path& b)
{
    const auto first = FileCopier::identity(a);
    const auto second = FileCopier::identity(b);
    return first && second && *first == *second;
}

bool isSameVolume(const fs::path& a, const fs::path& b)
{
    const auto first = FileCopier::identity(a);
    const auto second = FileCopier::identity(b);
    return first && second && first->device == second->device;
}

} // namespace FileTransfer
