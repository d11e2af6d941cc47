#pragma once

#include "platform/TreeSize.h"

#include <QObject>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// Total sizes of folders, computed in the background, at most two walks at a
// time, first come first served, cached by path until a change below invalidates
// them. Main thread only; the walks share nothing with it.
class FolderSizeService : public QObject {
    Q_OBJECT
public:
    using Owner = const void*; // compared only, never called
    using Completion =
        std::function<void(const std::filesystem::path& folder, TreeSize::Measure size)>;
    using Walk = std::function<TreeSize::Measure(const std::filesystem::path&)>;
    static constexpr int kMaxRunning = 2;

    static FolderSizeService& shared();
    explicit FolderSizeService(Walk walk = {}, QObject* parent = nullptr);

    // Cached folders are answered at once, before this returns; the others queue.
    // A request takes the owner out of the cancelled ones.
    void request(const std::vector<std::filesystem::path>& folders, Owner owner,
                 Completion completion);
    // The owner receives none of its outstanding results; they are still cached.
    void cancel(Owner owner);
    // Drops the cached size of the path and of every folder above it.
    void invalidate(const std::filesystem::path& path);
    std::optional<TreeSize::Measure> cachedSize(const std::filesystem::path& folder) const;
    int running() const { return m_running; }
    size_t queuedCount() const { return m_queue.size(); }

private:
    struct Request {
        std::filesystem::path folder;
        Owner owner;
        Completion completion;
    };
    static std::string queueKey(const std::filesystem::path& folder, Owner owner);
    void startNext();
    void finish(Request request, TreeSize::Measure size);

    Walk m_walk;
    std::unordered_map<std::string, TreeSize::Measure> m_cache;
    std::deque<Request> m_queue;
    // Waiting requests by folder and owner: a repeated request replaces the completion.
    // Deque elements stay put when the ends change.
    std::unordered_map<std::string, Request*> m_waiting;
    int m_running = 0;
    std::unordered_set<Owner> m_cancelledOwners;
};
