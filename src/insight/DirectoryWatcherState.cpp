#include "insight/DirectoryWatcherState.h"

#include "platform/DirectoryScanner.h"

#include <QThreadPool>
#include <cerrno>

namespace fs = std::filesystem;

namespace {

// Walks have threads of their own: folder sizes may keep the shared pool busy for
// minutes, and a tree is not followed until its walk has run.
QThreadPool& walkPool()
{
    struct WalkPool : QThreadPool {
        WalkPool() { setMaxThreadCount(2); }
    };
    static WalkPool pool;
    return pool;
}

// Folders listed per turn on the pool, so that a new watcher's own folder is not
// kept waiting behind another watcher's huge tree.
constexpr int kFoldersPerSlice = 64;

} // namespace

// The folder's watch, added unless it exists; nullptr when the folder cannot be
// watched (gone, not a folder, or the budget or the user's watch limit is spent).
// Pointers into `watches` taken before may be stale afterwards.
DirectoryWatcher::State::Watch*
DirectoryWatcher::State::watchContents(const fs::path& folder, bool followLink, bool withinBudget,
                                       bool& limitReached, std::unique_lock<std::mutex>& lock)
{
    const auto known = contentWatches.find(folder.native());
    if (known != contentWatches.end())
        return &watches.at(known->second);
    if (withinBudget && int(contentWatches.size()) >= budget) {
        limitReached = true;
        return nullptr;
    }
    ++addsStarted;
    lock.unlock();
    const auto watch = inotify.addWatch(folder, Inotify::Scope::Contents, followLink);
    lock.lock();
    ++addsFinished;
    if (!held.empty())
        postFlush();
    return record(folder, watch, limitReached, lock);
}

DirectoryWatcher::State::Watch* DirectoryWatcher::State::record(const fs::path& folder,
                                                                const Result<int>& watch,
                                                                bool& limitReached,
                                                                std::unique_lock<std::mutex>& lock)
{
    if (!watch) {
        limitReached = watch.error().code == ENOSPC;
        return nullptr;
    }
    const auto [entry, added] = watches.try_emplace(*watch, Watch{folder});
    if (!added) {
        // The same folder by another name. An ancestor asked for its contents
        // would report changes beside the tree: give it back its narrow scope.
        if (entry->second.ancestor) {
            const fs::path ancestor = entry->second.path;
            lock.unlock();
            (void)inotify.addWatch(ancestor, Inotify::Scope::Self, true);
            lock.lock();
        }
        return nullptr;
    }
    contentWatches.emplace(folder.native(), *watch);
    return &entry->second;
}

void DirectoryWatcher::State::watchRoot(int64_t since, std::unique_lock<std::mutex>& lock)
{
    bool limitReached = false;
    Watch* watch = watchContents(root, true, false, limitReached, lock);
    if (!watch) {
        // Not followed at all (isWatching() stays false). A folder removed before
        // its watch could be added is still told, as a change of the root.
        lock.unlock();
        const bool gone = !DirectoryScanner::isDirectory(root);
        lock.lock();
        if (gone) {
            lateChanges.push_back(root);
            postFlush();
        }
        return;
    }
    watch->queued = true;
    rootWatch = contentWatches.at(root.native());
    rootRequested = since;
    pending.push_back({root, false});
    watchAncestors(lock);
    // Whatever happened between the request and the watch is in no event.
    lock.unlock();
    const bool changed = Inotify::changedSince(root, since);
    lock.lock();
    if (changed) {
        lateChanges.push_back(root);
        postFlush();
    }
}

void DirectoryWatcher::State::watchAncestors(std::unique_lock<std::mutex>& lock)
{
    fs::path folder = root;
    while (folder.has_relative_path() && folder.has_parent_path() && !cancelled) {
        folder = folder.parent_path();
        ++addsStarted;
        lock.unlock();
        const auto watch = inotify.addWatch(folder, Inotify::Scope::Self, true);
        lock.lock();
        ++addsFinished;
        if (watch)
            watches.try_emplace(*watch, Watch{folder, true});
    }
    if (!held.empty())
        postFlush();
}

void DirectoryWatcher::State::serve(const WatchRequest& request, std::unique_lock<std::mutex>& lock)
{
    bool limitReached = false;
    switch (request.kind) {
    case WatchRequest::Kind::root:
        watchRoot(request.since, lock);
        return;
    case WatchRequest::Kind::expanded:
        watchContents(request.folder, true, false, limitReached, lock);
        return;
    case WatchRequest::Kind::created:
        // What it holds already is walked like the rest of the tree.
        if (Watch* added = watchContents(request.folder, false, true, limitReached, lock);
            added && !added->queued) {
            added->queued = true;
            pending.push_back({request.folder, false});
        }
        return;
    }
}

void DirectoryWatcher::State::unwatchSubtree(const fs::path& folder)
{
    auto drop = [this](std::map<std::string, int>::iterator it) {
        inotify.removeWatch(it->second);
        watches.erase(it->second);
        return contentWatches.erase(it);
    };
    const std::string& top = folder.native();
    if (const auto it = contentWatches.find(top); it != contentWatches.end())
        drop(it);
    const std::string prefix = top.ends_with('/') ? top : top + '/';
    for (auto it = contentWatches.lower_bound(prefix);
         it != contentWatches.end() && it->first.starts_with(prefix);)
        it = drop(it);
}

void DirectoryWatcher::State::forget(std::unordered_map<int, Watch>::iterator watch)
{
    if (!watch->second.ancestor) {
        // The path may be watched again already, under a new descriptor.
        const auto byPath = contentWatches.find(watch->second.path.native());
        if (byPath != contentWatches.end() && byPath->second == watch->first)
            contentWatches.erase(byPath);
    }
    watches.erase(watch);
}

// Turns one event into the changed path and keeps the watches in step with the tree.
void DirectoryWatcher::State::interpret(const Inotify::Event& event, uint64_t mark,
                                        std::vector<fs::path>& changed)
{
    using Kind = Inotify::EventKind;
    if (event.kind == Kind::Overflow) {
        // Anything may have happened, folders created among it: report the whole
        // tree and look for folders that are not watched yet.
        changed.push_back(root);
        pending.push_back({root, true});
        return;
    }
    const auto found = watches.find(event.watch);
    if (found == watches.end()) {
        // Either unwatched by us a moment ago, or added by the walk and not yet
        // recorded: kept until that addition is through.
        if (addsFinished < mark)
            held.push_back({event, mark});
        return;
    }
    if (event.kind == Kind::Ignored) {
        forget(found);
        return;
    }
    const Watch& watch = found->second;
    if (watch.ancestor) {
        if (event.kind == Kind::SelfRemoved || event.kind == Kind::SelfMoved)
            changed.push_back(root);
        return;
    }
    if (event.name.empty()) {
        changed.push_back(watch.path);
        // Renamed while its parent is not watched: every path below it is stale.
        if (event.kind == Kind::SelfMoved && event.watch != rootWatch)
            unwatchSubtree(fs::path(watch.path));
        return;
    }
    fs::path path = watch.path / event.name;
    changed.push_back(path);
    if (!event.isDirectory)
        return;
    if (event.kind == Kind::MovedFrom)
        unwatchSubtree(path);
    else if (event.kind == Kind::Created || event.kind == Kind::MovedTo)
        requests.push_back({std::move(path), WatchRequest::Kind::created});
}

// False when no more folders may be watched.
bool DirectoryWatcher::State::watchSubfolders(const PendingFolder& parent,
                                              const std::vector<std::string>& names,
                                              std::unique_lock<std::mutex>& lock)
{
    for (const std::string& name : names) {
        // Let go per subfolder, so that the main thread never waits long behind a
        // huge folder.
        lock.unlock();
        lock.lock();
        if (cancelled)
            return true;
        // Renamed or deleted meanwhile: the main thread has dealt with it.
        if (!contentWatches.contains(parent.folder.native()))
            return true;
        fs::path child = parent.folder / name;
        bool limitReached = false;
        Watch* watch = watchContents(child, false, true, limitReached, lock);
        if (limitReached)
            return false;
        if (!watch)
            continue;
        if (!contentWatches.contains(parent.folder.native())) {
            // The parent moved away while the watch was being added.
            unwatchSubtree(child);
            return true;
        }
        if (!watch->queued || parent.again) {
            watch->queued = true;
            // Changed after the pane asked and before this watch began: in no event.
            lock.unlock();
            const bool changed = Inotify::changedSince(child, rootRequested);
            lock.lock();
            if (changed) {
                lateChanges.push_back(child);
                postFlush();
            }
            pending.push_back({std::move(child), parent.again});
        }
    }
    return true;
}

// Watch requests first, then breadth first over the pending folders, for one turn
// on a pool thread; true when there is more to do.
bool DirectoryWatcher::State::walkSlice()
{
    std::unique_lock lock(mutex);
    for (int listed = 0;;) {
        if (cancelled) {
            walkEnded();
            return false;
        }
        if (!requests.empty()) {
            const WatchRequest request = std::move(requests.front());
            requests.pop_front();
            serve(request, lock);
            continue;
        }
        if (pending.empty()) {
            walkEnded();
            return false;
        }
        if (listed++ == kFoldersPerSlice)
            return true;
        const PendingFolder next = std::move(pending.front());
        pending.pop_front();
        lock.unlock();
        // The root may be a link to the folder shown; nothing below it is followed.
        const auto names =
            Inotify::subfolderNames(next.folder, next.folder.native() == root.native());
        lock.lock();
        if (names && !watchSubfolders(next, *names, lock))
            pending.clear(); // the budget is spent; requests are still served
    }
}

void DirectoryWatcher::State::walkEnded()
{
    walking = false;
    // Posted under the mutex: the watcher's destructor takes it before clearing
    // `owner`, and a posted call dies with its receiver.
    if (owner)
        QMetaObject::invokeMethod(
            owner, [watcher = owner] { watcher->walkFinished(); }, Qt::QueuedConnection);
}

// Hands held events and changes found by the walk to the main thread.
void DirectoryWatcher::State::postFlush()
{
    if (!owner || flushPosted)
        return;
    flushPosted = true;
    QMetaObject::invokeMethod(
        owner, [watcher = owner] { watcher->flush(); }, Qt::QueuedConnection);
}

void DirectoryWatcher::State::schedule(const std::shared_ptr<State>& state)
{
    walkPool().start([state] {
        if (state->walkSlice())
            schedule(state);
    });
}
