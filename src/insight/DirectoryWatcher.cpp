#include "insight/DirectoryWatcher.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "platform/Inotify.h"

#include <QSocketNotifier>
#include <QThreadPool>
#include <QTimer>
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>

namespace fs = std::filesystem;

namespace {

struct Watch {
    fs::path path;
    bool ancestor = false; // watched only for its own deletion or renaming
    bool queued = false;   // its subfolders are walked (or waiting to be)
};

struct PendingFolder {
    fs::path folder;
    bool again = false; // events were lost: revisit subfolders that are watched already
};

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

// Beyond this a latency is a mistake; it also keeps the milliseconds within an int.
constexpr double kMaxLatency = 3600;

} // namespace

// What the main thread and the background walk share. The walk holds a reference
// of its own, so the descriptor stays open until both have let go.
struct DirectoryWatcher::State {
    State(Inotify inotify, fs::path root, int budget)
        : inotify(std::move(inotify))
        , root(std::move(root))
        , budget(budget)
    {
    }

    // The functions below expect the mutex to be held, except walk().
    Watch* watchContents(const fs::path& folder, bool followLink, bool withinBudget,
                         bool& limitReached);
    void watchAncestors();
    void unwatchSubtree(const fs::path& folder);
    void forget(std::unordered_map<int, Watch>::iterator watch);
    void interpret(const Inotify::Event& event, std::vector<fs::path>& changed);
    bool watchSubfolders(const PendingFolder& parent, const std::vector<std::string>& names);
    void walk();
    void walkEnded();

    const Inotify inotify;
    const fs::path root;
    const int budget;

    std::mutex mutex;
    std::unordered_map<int, Watch> watches;
    // Folders inside the tree by path, sorted so that a subtree is one range.
    std::map<std::string, int> contentWatches;
    int rootWatch = -1;
    std::deque<PendingFolder> pending;
    bool walking = false;
    bool cancelled = false;
    DirectoryWatcher* owner = nullptr; // null once the watcher is being destroyed
};

// The folder's watch, added unless it exists; nullptr when the folder cannot be
// watched (gone, not a folder, or the budget or the user's watch limit is spent).
Watch* DirectoryWatcher::State::watchContents(const fs::path& folder, bool followLink,
                                              bool withinBudget, bool& limitReached)
{
    const auto known = contentWatches.find(folder.native());
    if (known != contentWatches.end())
        return &watches.at(known->second);
    if (withinBudget && int(contentWatches.size()) >= budget) {
        limitReached = true;
        return nullptr;
    }
    const auto watch = inotify.addWatch(folder, Inotify::Scope::Contents, followLink);
    if (!watch) {
        limitReached = watch.error().code == ENOSPC;
        return nullptr;
    }
    const auto [entry, added] = watches.try_emplace(*watch, Watch{folder});
    if (!added) {
        // The same folder by another name. An ancestor asked for its contents
        // would report changes beside the tree: give it back its narrow scope.
        if (entry->second.ancestor)
            (void)inotify.addWatch(entry->second.path, Inotify::Scope::Self, true);
        return nullptr;
    }
    contentWatches.emplace(folder.native(), *watch);
    return &entry->second;
}

void DirectoryWatcher::State::watchAncestors()
{
    fs::path folder = root;
    while (folder.has_relative_path() && folder.has_parent_path()) {
        folder = folder.parent_path();
        const auto watch = inotify.addWatch(folder, Inotify::Scope::Self, true);
        if (watch)
            watches.try_emplace(*watch, Watch{folder, true});
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
void DirectoryWatcher::State::interpret(const Inotify::Event& event, std::vector<fs::path>& changed)
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
    if (found == watches.end())
        return; // unwatched by us a moment ago
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
    if (event.kind == Kind::MovedFrom) {
        unwatchSubtree(path);
    } else if (event.kind == Kind::Created || event.kind == Kind::MovedTo) {
        // Watched at once so that nothing made inside it next is missed; what it
        // holds already is walked in the background.
        bool limitReached = false;
        Watch* added = watchContents(path, false, true, limitReached);
        if (added && !added->queued) {
            added->queued = true;
            pending.push_back({std::move(path), false});
        }
    }
}

// False when the walk must stop: the watcher is gone, or no more folders may be watched.
bool DirectoryWatcher::State::watchSubfolders(const PendingFolder& parent,
                                              const std::vector<std::string>& names)
{
    for (const std::string& name : names) {
        // Locked per subfolder rather than per listing, so that the main thread
        // never waits long behind a huge folder.
        std::lock_guard lock(mutex);
        if (cancelled)
            return false;
        // Renamed or deleted meanwhile: the main thread has dealt with it.
        if (!contentWatches.contains(parent.folder.native()))
            return true;
        fs::path child = parent.folder / name;
        bool limitReached = false;
        Watch* watch = watchContents(child, false, true, limitReached);
        if (limitReached)
            return false;
        if (watch && (!watch->queued || parent.again)) {
            watch->queued = true;
            pending.push_back({std::move(child), parent.again});
        }
    }
    return true;
}

// Breadth first over the pending folders, on a pool thread, until none are left.
void DirectoryWatcher::State::walk()
{
    for (;;) {
        PendingFolder next;
        {
            std::lock_guard lock(mutex);
            if (cancelled || pending.empty()) {
                walkEnded();
                return;
            }
            next = std::move(pending.front());
            pending.pop_front();
        }
        // The root may be a link to the folder shown; nothing below it is followed.
        const auto names =
            Inotify::subfolderNames(next.folder, next.folder.native() == root.native());
        if (names && !watchSubfolders(next, *names)) {
            std::lock_guard lock(mutex);
            pending.clear();
            walkEnded();
            return;
        }
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

DirectoryWatcher::DirectoryWatcher(const fs::path& folder, double latency, Handler handler,
                                   int budget, QObject* parent)
    : QObject(parent)
    , m_root(PathText::standardized(folder))
    , m_handler(std::move(handler))
    , m_latencyMs(int(std::lround((latency > 0 ? std::min(latency, kMaxLatency) : 0.0) * 1000)))
{
    m_latencyTimer = new QTimer(this);
    m_latencyTimer->setSingleShot(true);
    connect(m_latencyTimer, &QTimer::timeout, this, &DirectoryWatcher::latencyPassed);

    auto inotify = Inotify::create();
    if (inotify) {
        auto state = std::make_shared<State>(std::move(*inotify), m_root, budget);
        std::lock_guard lock(state->mutex);
        bool limitReached = false;
        // Watched before returning, so that a change made right after is seen.
        if (Watch* root = state->watchContents(m_root, true, false, limitReached)) {
            root->queued = true;
            state->rootWatch = state->contentWatches.at(m_root.native());
            state->pending.push_back({m_root, false});
            state->watchAncestors();
            state->owner = this;
            m_state = std::move(state);
        }
    }
    if (!m_state) {
        // Nothing to walk: ready all the same, so that nobody waits for it.
        QMetaObject::invokeMethod(this, &DirectoryWatcher::walkFinished, Qt::QueuedConnection);
        return;
    }
    m_notifier =
        std::make_unique<QSocketNotifier>(m_state->inotify.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &DirectoryWatcher::readEvents);
    startWalk();
}

DirectoryWatcher::~DirectoryWatcher()
{
    // The notifier goes first: the descriptor may close as soon as the walk lets go.
    m_notifier.reset();
    if (m_state) {
        std::lock_guard lock(m_state->mutex);
        m_state->cancelled = true;
        m_state->pending.clear();
        m_state->owner = nullptr;
    }
}

void DirectoryWatcher::watchFolder(const fs::path& folder)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (!m_state)
        return;
    std::lock_guard lock(m_state->mutex);
    bool limitReached = false;
    m_state->watchContents(PathText::standardized(folder), true, false, limitReached);
}

bool DirectoryWatcher::isWatching() const
{
    if (!m_state)
        return false;
    std::lock_guard lock(m_state->mutex);
    return m_state->watches.contains(m_state->rootWatch);
}

int DirectoryWatcher::watchedFolderCount() const
{
    if (!m_state)
        return 0;
    std::lock_guard lock(m_state->mutex);
    return int(m_state->contentWatches.size());
}

bool DirectoryWatcher::isReady() const
{
    return m_ready;
}

void DirectoryWatcher::startWalk()
{
    {
        std::lock_guard lock(m_state->mutex);
        if (m_state->walking || m_state->pending.empty())
            return;
        m_state->walking = true;
    }
    walkPool().start([state = m_state] { state->walk(); });
}

void DirectoryWatcher::walkFinished()
{
    if (m_ready)
        return;
    m_ready = true;
    Q_EMIT ready();
}

void DirectoryWatcher::readEvents()
{
    const auto events = m_state->inotify.readEvents();
    if (!events) {
        // A descriptor that cannot be read would only make the notifier spin.
        m_notifier->setEnabled(false);
        return;
    }
    std::vector<fs::path> changed;
    {
        std::lock_guard lock(m_state->mutex);
        for (const Inotify::Event& event : *events)
            m_state->interpret(event, changed);
    }
    startWalk();
    for (const fs::path& path : changed)
        gather(path);
    if (!m_gathered.empty() && !m_latencyTimer->isActive())
        deliver();
}

void DirectoryWatcher::gather(const fs::path& path)
{
    if (m_gatheredSet.insert(path.native()).second)
        m_gathered.push_back(path);
}

void DirectoryWatcher::deliver()
{
    std::vector<fs::path> batch = std::exchange(m_gathered, {});
    m_gatheredSet.clear();
    m_latencyTimer->start(m_latencyMs);
    // The handler may destroy this watcher: nothing of it is touched afterwards,
    // and the handler runs from a copy that outlives it.
    const Handler handler = m_handler;
    if (handler)
        handler(batch);
}

void DirectoryWatcher::latencyPassed()
{
    // Nothing gathered means a quiet period starts: the next event goes out at once.
    if (!m_gathered.empty())
        deliver();
}
