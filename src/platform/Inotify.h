#pragma once

#include "platform/Error.h"
#include "platform/FileDescriptor.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

// One inotify instance (non-blocking, close-on-exec): watches on folders and the
// decoded events of all of them. Watches are added and removed from any thread;
// events are read by the one thread that owns the instance.
class Inotify {
public:
    enum class EventKind {
        Created,     // an item appeared in the folder
        Removed,     // an item was deleted from the folder
        MovedFrom,   // an item was renamed away from the folder
        MovedTo,     // an item was renamed into the folder
        Changed,     // contents or attributes of the folder or of an item in it
        SelfRemoved, // the watched folder itself was deleted (or its volume unmounted)
        SelfMoved,   // the watched folder itself was renamed
        Ignored,     // the watch is gone; its descriptor means nothing any more
        Overflow,    // the kernel's queue overflowed: events were lost
    };

    struct Event {
        int watch = -1; // -1 for an overflow
        EventKind kind = EventKind::Changed;
        bool isDirectory = false; // the named item (or the watched folder) is a folder
        std::string name;         // raw bytes of the item's name; empty for the folder itself
    };

    enum class Scope {
        Contents, // items created, deleted, renamed, changed, and the folder's own fate
        Self,     // only the deletion or renaming of the folder itself
    };

    // A new instance; an error when the process or user ran out of instances.
    static Result<Inotify> create();

    int descriptor() const { return m_fd.get(); }

    // The watch descriptor for the folder. The same folder added twice yields the
    // same descriptor (its events then follow the latest scope). Without
    // followLink a symbolic link is refused (ENOTDIR) rather than followed.
    // ENOSPC means the user's watch limit is reached.
    Result<int> addWatch(const std::filesystem::path& folder, Scope scope, bool followLink) const;
    // Called on the calling thread before each addWatch: adding a watch resolves a
    // path and may hang on a dead mount, so tests check which threads do it.
    static inline std::atomic<void (*)(const std::filesystem::path& folder)> addWatchObserver{};
    void removeWatch(int watch) const;

    // Every event queued so far, decoded; empty when there are none. Stops after a
    // few megabytes so that a flood cannot keep the caller here forever: the rest
    // stays queued and keeps the descriptor readable.
    Result<std::vector<Event>> readEvents() const;

    // Names of the folder's subfolders, from getdents64's entry types (an fstatat
    // only when the file system does not say). Links are never followed, so a link
    // loop cannot lead anywhere; followLink applies to the folder itself only.
    static Result<std::vector<std::string>> subfolderNames(const std::filesystem::path& folder,
                                                           bool followLink);

    // The present on the clock that stamps files' change times, in nanoseconds.
    static int64_t now();
    // True when items appeared in the folder, left it or were renamed at or after
    // `since` (a now() value), or when it cannot be examined any more.
    static bool changedSince(const std::filesystem::path& folder, int64_t since);

private:
    explicit Inotify(FileDescriptor fd)
        : m_fd(std::move(fd))
    {
    }

    FileDescriptor m_fd;
};
