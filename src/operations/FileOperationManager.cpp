#include "operations/FileOperationManager.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "operations/ArchiveJob.h"
#include "operations/BulkRenameCommand.h"
#include "operations/BulkRenamer.h"
#include "operations/FileNaming.h"
#include "operations/FileTransfer.h"
#include "operations/ItemOperations.h"
#include "operations/LinkTargetChange.h"
#include "operations/OperationAlerts.h"
#include "operations/PermissionChange.h"
#include "operations/SymbolicLinks.h"
#include "operations/TransferJob.h"
#include "operations/UndoCommands.h"

#include <QThreadPool>
#include <QUndoStack>
#include <QtConcurrent/QtConcurrent>
#include <algorithm>

namespace fs = std::filesystem;
using namespace OperationAlerts;
using namespace ItemOperations;

namespace {

std::vector<fs::path> parentsOf(const std::vector<fs::path>& paths)
{
    std::vector<fs::path> folders;
    for (const fs::path& path : paths) {
        const fs::path folder = PathText::parent(path);
        if (std::find(folders.begin(), folders.end(), folder) == folders.end())
            folders.push_back(folder);
    }
    return folders;
}

std::vector<FileItem> standardized(std::vector<FileItem> items)
{
    for (FileItem& item : items)
        item.path = PathText::standardized(item.path);
    return items;
}

} // namespace

FileOperationManager::FileOperationManager(QObject* parent)
    : QObject(parent)
    , m_undoStack(new QUndoStack(this))
    , m_undoPool(new QThreadPool(this))
{
    m_undoPool->setMaxThreadCount(1);
}

FileOperationManager::~FileOperationManager()
{
    m_undoPool->waitForDone();
}

FileOperationManager& FileOperationManager::shared()
{
    static auto* instance = new FileOperationManager;
    return *instance;
}

FileOperationManager::PrompterRef FileOperationManager::prompterFor(PrompterRef prompter) const
{
    return prompter ? prompter : m_fallbackPrompter;
}

void FileOperationManager::confirmTransfer(int count, const fs::path& destination,
                                           TransferMode mode, PrompterRef prompter,
                                           std::function<void(bool)> done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    prompter = prompterFor(prompter);
    if (!Preferences::shared().confirmPaneTransfer()) {
        done(true);
        return;
    }
    if (!prompter) {
        done(false);
        return;
    }
    prompter->present(OperationAlerts::confirmTransfer(count, destination, mode),
                      [done = std::move(done)](Alert::Response response) {
                          if (response.button != 0) {
                              done(false);
                              return;
                          }
                          if (response.suppressed)
                              Preferences::shared().setConfirmPaneTransfer(false);
                          done(true);
                      });
}

void FileOperationManager::transfer(std::vector<FileItem> sources,
                                    const fs::path& destinationFolder, TransferMode mode,
                                    PrompterRef prompter, PathsDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    auto* job =
        new TransferJob(std::move(sources), destinationFolder, mode, prompterFor(prompter), this);
    job->start([this, done = std::move(done)](const TransferRecord& record) {
        transferFinished(record, done);
    });
}

void FileOperationManager::transferFinished(const TransferRecord& record, const PathsDone& done)
{
    Paths destinations;
    for (const auto& pair : record.pairs)
        destinations.push_back(pair.second);
    if (!record.pairs.empty()) {
        pushUndo(new TransferCommand(record, [this](auto work) { runUndoWork(std::move(work)); }));
        if (record.mode == TransferMode::move)
            Q_EMIT itemsMoved(record.pairs);
        Q_EMIT foldersChanged(touchedFolders(record));
    }
    if (done)
        done(std::move(destinations));
}

void FileOperationManager::moveToTrash(std::vector<FileItem> items, PrompterRef prompter,
                                       PathsDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    QtConcurrent::run(&WorkPools::transfers(),
                      [items = standardized(std::move(items))] { return trashItems(items); })
        .then(this, [this, prompter = prompterFor(prompter),
                     done = std::move(done)](TrashOutcome out) mutable {
            trashFinished(std::move(out.trashed), std::move(out.withoutTrash),
                          std::move(out.failures), std::move(prompter), std::move(done));
        });
}

void FileOperationManager::trashFinished(std::vector<TrashedItem> trashed,
                                         std::vector<FileItem> withoutTrash,
                                         std::vector<Alert> failures, PrompterRef prompter,
                                         PathsDone done)
{
    Paths gone;
    for (const TrashedItem& item : trashed)
        gone.push_back(item.original);
    if (!trashed.empty()) {
        pushUndo(new TrashCommand(std::move(trashed),
                                  [this](auto work) { runUndoWork(std::move(work)); }));
        Q_EMIT foldersChanged(parentsOf(gone));
    }
    // Items without a trash are deleted only after asking, one by one.
    presentInOrder(prompter, std::move(failures),
                   [this, prompter, withoutTrash = std::move(withoutTrash), gone = std::move(gone),
                    done = std::move(done)]() mutable {
                       askDeletionWithoutTrash(std::move(withoutTrash), {}, prompter,
                                               [gone = std::move(gone), done](Paths removed) {
                                                   Paths all = gone;
                                                   all.insert(all.end(), removed.begin(),
                                                              removed.end());
                                                   if (done)
                                                       done(std::move(all));
                                               });
                   });
}

void FileOperationManager::askDeletionWithoutTrash(std::vector<FileItem> items,
                                                   std::vector<FileItem> confirmed,
                                                   PrompterRef prompter,
                                                   std::function<void(Paths)> done)
{
    if (items.empty() || !prompter) {
        removeItems(std::move(confirmed), prompter, std::move(done));
        return;
    }
    const FileItem item = items.front();
    items.erase(items.begin());
    prompter->present(confirmDeletionWithoutTrash(PathText::displayName(item.path)),
                      [this, item, items = std::move(items), confirmed = std::move(confirmed),
                       prompter, done = std::move(done)](Alert::Response response) mutable {
                          if (response.button == 0)
                              confirmed.push_back(item);
                          askDeletionWithoutTrash(std::move(items), std::move(confirmed),
                                                  std::move(prompter), std::move(done));
                      });
}

void FileOperationManager::deletePermanently(std::vector<FileItem> items, PrompterRef prompter,
                                             PathsDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    prompter = prompterFor(prompter);
    items = standardized(std::move(items));
    if (items.empty() || !prompter) {
        if (done)
            done({});
        return;
    }
    Paths paths;
    for (const FileItem& item : items)
        paths.push_back(item.path);
    prompter->present(confirmDeletion(paths), [this, items = std::move(items), prompter,
                                               done = std::move(done)](Alert::Response response) {
        if (response.button == 0)
            removeItems(items, prompter, done);
        else if (done)
            done({});
    });
}

void FileOperationManager::removeItems(std::vector<FileItem> items, PrompterRef prompter,
                                       PathsDone done)
{
    if (items.empty()) {
        if (done)
            done({});
        return;
    }
    QtConcurrent::run(&WorkPools::transfers(), [items = std::move(items)] {
        return removeAll(items);
    }).then(this, [this, prompter, done = std::move(done)](Removal out) {
        if (!out.removed.empty())
            Q_EMIT foldersChanged(parentsOf(out.removed));
        presentInOrder(prompter, std::move(out.failures), [done, removed = out.removed] {
            if (done)
                done(removed);
        });
    });
}

void FileOperationManager::rename(const FileItem& item, const QString& newName,
                                  PrompterRef prompter, PathDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    prompter = prompterFor(prompter);
    auto answer = [done](std::optional<fs::path> path) {
        if (done)
            done(std::move(path));
    };
    if (const auto invalid = FileNaming::validationError(newName)) {
        presentInOrder(prompter, {message(*invalid)}, [answer] { answer(std::nullopt); });
        return;
    }
    FileItem from{PathText::standardized(item.path), item.identity};
    const fs::path to = PathText::parent(from.path) / PathText::fromStorableText(newName);
    if (to == from.path) {
        answer(std::nullopt);
        return;
    }
    QtConcurrent::run([from, to, newName] {
        return renameChecked(from, to, newName);
    }).then(this, [this, from = from.path, to, prompter, answer](std::optional<Alert> refusal) {
        if (refusal) {
            presentInOrder(prompter, {*refusal}, [answer] { answer(std::nullopt); });
            return;
        }
        pushUndo(new RenameCommand(from, to, [this](auto work) { runUndoWork(std::move(work)); }));
        Q_EMIT itemsMoved({{from, to}});
        Q_EMIT foldersChanged({PathText::parent(to)});
        answer(to);
    });
}

void FileOperationManager::createFolder(const fs::path& folder, PrompterRef prompter, PathDone done)
{
    createItem(folder, true, std::move(prompter), std::move(done));
}

void FileOperationManager::createFile(const fs::path& folder, PrompterRef prompter, PathDone done)
{
    createItem(folder, false, std::move(prompter), std::move(done));
}

void FileOperationManager::createItem(const fs::path& folder, bool isDirectory,
                                      PrompterRef prompter, PathDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    QtConcurrent::run([folder = PathText::standardized(folder), isDirectory] {
        return makeUntitled(folder, isDirectory);
    })
        .then(this, [this, isDirectory, prompter = prompterFor(prompter),
                     done = std::move(done)](const Creation& made) {
            auto answer = [done](std::optional<fs::path> path) {
                if (done)
                    done(std::move(path));
            };
            if (made.error) {
                presentInOrder(prompter,
                               {creationFailed(PathText::displayName(made.path), *made.error)},
                               [answer] { answer(std::nullopt); });
                return;
            }
            pushUndo(new CreationCommand({made.path},
                                         isDirectory ? QStringLiteral("新規フォルダ")
                                                     : QStringLiteral("新規ファイル"),
                                         [this](auto work) { runUndoWork(std::move(work)); }));
            Q_EMIT foldersChanged({PathText::parent(made.path)});
            answer(made.path);
        });
}

void FileOperationManager::pushUndo(QUndoCommand* command)
{
    m_undoStack->push(command);
}

void FileOperationManager::runUndoWork(std::function<UndoReport()> work)
{
    QtConcurrent::run(m_undoPool, std::move(work)).then(this, [this](UndoReport report) {
        if (!report.moves.empty())
            Q_EMIT itemsMoved(report.moves);
        Q_EMIT foldersChanged(report.folders);
        presentInOrder(m_fallbackPrompter, std::move(report.failures));
    });
}

void FileOperationManager::bulkRename(std::vector<std::pair<FileItem, QString>> pairs,
                                      PrompterRef prompter, PathsDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    std::vector<FileItem> items;
    std::vector<BulkRenamer::Pair> plan;
    for (const auto& [item, newName] : pairs) {
        items.push_back({PathText::standardized(item.path), item.identity});
        plan.emplace_back(items.back().path, PathText::parent(items.back().path) /
                                                 PathText::fromStorableText(newName));
    }
    QtConcurrent::run(&WorkPools::transfers(), [items, plan] { return renameAll(items, plan); })
        .then(this, [this, plan, prompter = prompterFor(prompter),
                     done = std::move(done)](std::optional<Alert> refusal) {
            Paths renamed;
            for (const auto& pair : plan)
                renamed.push_back(pair.second);
            Q_EMIT foldersChanged(parentsOf(renamed));
            if (refusal) {
                presentInOrder(prompter, {*refusal}, [done] {
                    if (done)
                        done({});
                });
                return;
            }
            pushUndo(
                new BulkRenameCommand(plan, [this](auto work) { runUndoWork(std::move(work)); }));
            Q_EMIT itemsMoved(plan);
            if (done)
                done(renamed);
        });
}

void FileOperationManager::compress(std::vector<FileItem> items, PrompterRef prompter,
                                    PathDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    ArchiveJob::compress(
        standardized(std::move(items)), prompterFor(prompter),
        [this, done = std::move(done)](std::optional<fs::path> made) {
            madeByArchive(made, QStringLiteral("圧縮"), done);
        },
        this);
}

void FileOperationManager::expand(const FileItem& archive, PrompterRef prompter, PathDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    ArchiveJob::expand(
        {PathText::standardized(archive.path), archive.identity}, prompterFor(prompter),
        [this, done = std::move(done)](std::optional<fs::path> made) {
            madeByArchive(made, QStringLiteral("展開"), done);
        },
        this);
}

void FileOperationManager::madeByArchive(const std::optional<fs::path>& made,
                                         const QString& actionName, const PathDone& done)
{
    if (made) {
        pushUndo(new CreationCommand({*made}, actionName,
                                     [this](auto work) { runUndoWork(std::move(work)); }));
        Q_EMIT foldersChanged({PathText::parent(*made)});
    }
    if (done)
        done(made);
}

void FileOperationManager::makeSymbolicLinks(std::vector<FileItem> items, const fs::path& folder,
                                             PrompterRef prompter, PathsDone done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    Paths targets;
    for (const FileItem& item : standardized(std::move(items)))
        targets.push_back(item.path);
    QtConcurrent::run([targets, folder = PathText::standardized(folder)] {
        return SymbolicLinks::make(targets, folder);
    })
        .then(this, [this, prompter = prompterFor(prompter),
                     done = std::move(done)](SymbolicLinks::Outcome out) {
            if (!out.made.empty()) {
                pushUndo(new CreationCommand(out.made, QStringLiteral("シンボリックリンクの作成"),
                                             [this](auto work) { runUndoWork(std::move(work)); }));
                Q_EMIT foldersChanged(parentsOf(out.made));
            }
            std::vector<Alert> failures;
            for (const Error& error : out.failures)
                failures.push_back(creationFailed(PathText::displayName(error.path), error));
            presentInOrder(prompter, std::move(failures), [done, made = out.made] {
                if (done)
                    done(made);
            });
        });
}

void FileOperationManager::changePermissions(PermissionChange::Request request,
                                             PrompterRef prompter,
                                             std::function<void(PermissionChange::Outcome)> done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    QtConcurrent::run(&WorkPools::transfers(),
                      [request = std::move(request)] { return PermissionChange::apply(request); })
        .then(this, [this, prompter = prompterFor(prompter),
                     done = std::move(done)](PermissionChange::Outcome out) {
            if (!out.changed.empty()) {
                Paths changed;
                for (const PermissionChange::Change& change : out.changed)
                    changed.push_back(change.path);
                pushUndo(new PermissionCommand(
                    out.changed, [this](auto work) { runUndoWork(std::move(work)); }));
                Q_EMIT foldersChanged(parentsOf(changed));
            }
            auto answer = [out, done] {
                if (done)
                    done(out);
            };
            if (out.failures.empty())
                answer();
            else
                presentInOrder(prompter, {PermissionChange::failureAlert(out.failures)}, answer);
        });
}

void FileOperationManager::changeLinkTarget(const fs::path& link, const fs::path& target,
                                            PrompterRef prompter, std::function<void(bool)> done)
{
    QUILLO_ASSERT_MAIN_THREAD();
    const fs::path path = PathText::standardized(link);
    QtConcurrent::run([path, target] { return LinkTargetChange::retarget(path, target); })
        .then(this, [this, path, target, prompter = prompterFor(prompter),
                     done = std::move(done)](Result<fs::path> old) {
            const auto answer = [done, ok = old.has_value()] {
                if (done)
                    done(ok);
            };
            if (!old) {
                Alert alert = message(QStringLiteral("「%1」のリンク先を変更できませんでした。")
                                          .arg(PathText::displayName(path)));
                alert.style = Alert::Style::critical;
                alert.informativeText = old.error().description();
                presentInOrder(prompter, {alert}, answer);
                return;
            }
            pushUndo(new LinkTargetCommand(path, *old, target,
                                           [this](auto work) { runUndoWork(std::move(work)); }));
            Q_EMIT foldersChanged({PathText::parent(path)});
            answer();
        });
}
