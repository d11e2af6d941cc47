#pragma once

#include "insight/DirectoryWatcher.h"
#include "platform/Inotify.h"

#include <cstdint>
#include <deque>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

// What the main thread and the background walk share. The walk holds a reference
// of its own, so the descriptor stays open until both have let go. Watches are added
// by the walk only, one at a time, with the mutex released around the system call.
struct DirectoryWatcher::State {
    struct Watch {
        std::filesystem::path path;
        bool ancestor = false; // watched only for its own deletion or renaming
        bool queued = false;   // its subfolders are walked (or waiting to be)
    };

    struct PendingFolder {
        std::filesystem::path folder;
        bool again = false; // events were lost: revisit subfolders that are watched already
    };

    // A folder to watch, served by the walk before anything else: adding a watch looks
    // the path up, which can hang on a dead network mount, so the main thread never does.
    struct WatchRequest {
        enum class Kind {
            root,     // the shown folder, then its ancestors
            expanded, // a folder the pane shows open, beyond the budget if need be
            created,  // a folder that appeared in the tree
        };
        std::filesystem::path folder;
        Kind kind = Kind::created;
        int64_t since = 0; // root: when it was asked for (Inotify::now())
    };

    // An event for a watch descriptor not recorded yet; `mark` counts the additions that
    // had started when it was read, one of which may still bring its descriptor.
    struct HeldEvent {
        Inotify::Event event;
        uint64_t mark = 0;
    };

    State(Inotify inotify, std::filesystem::path root, int budget)
        : inotify(std::move(inotify))
        , root(std::move(root))
        , budget(budget)
    {
    }

    // The functions below expect the mutex to be held, except walkSlice().
    Watch* watchContents(const std::filesystem::path& folder, bool followLink, bool withinBudget,
                         bool& limitReached, std::unique_lock<std::mutex>& lock);
    Watch* record(const std::filesystem::path& folder, const Result<int>& watch, bool& limitReached,
                  std::unique_lock<std::mutex>& lock);
    void watchRoot(int64_t since, std::unique_lock<std::mutex>& lock);
    void watchAncestors(std::unique_lock<std::mutex>& lock);
    void serve(const WatchRequest& request, std::unique_lock<std::mutex>& lock);
    void unwatchSubtree(const std::filesystem::path& folder);
    void forget(std::unordered_map<int, Watch>::iterator watch);
    void interpret(const Inotify::Event& event, uint64_t mark,
                   std::vector<std::filesystem::path>& changed);
    bool watchSubfolders(const PendingFolder& parent, const std::vector<std::string>& names,
                         std::unique_lock<std::mutex>& lock);
    bool walkSlice();
    void walkEnded();
    void postFlush();
    static void schedule(const std::shared_ptr<State>& state);

    const Inotify inotify;
    const std::filesystem::path root;
    const int budget;

    std::mutex mutex;
    std::unordered_map<int, Watch> watches;
    // Folders inside the tree by path, sorted so that a subtree is one range.
    std::map<std::string, int> contentWatches;
    int rootWatch = -1;
    int64_t rootRequested = 0; // when the root was asked for, on the files' clock
    std::deque<WatchRequest> requests;
    std::deque<PendingFolder> pending;
    uint64_t addsStarted = 0;
    uint64_t addsFinished = 0;
    std::vector<HeldEvent> held;
    std::vector<std::filesystem::path> lateChanges; // found by the walk, for the main thread
    bool flushPosted = false;
    bool walking = false;
    bool cancelled = false;
    DirectoryWatcher* owner = nullptr; // null once the watcher is being destroyed
};
