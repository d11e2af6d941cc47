#pragma once

#include "tags/Tag.h"

#include <QHash>
#include <QList>
#include <condition_variable>
#include <filesystem>
#include <mutex>
#include <optional>
#include <thread>

// Writes tags.json on its own thread so that a large library never stalls the
// window. Snapshots are cheap (implicitly shared containers); while one is being
// written, newer ones replace each other and only the latest is written next.
class TagSaver {
public:
    // `setAsideFirst`: the file on disk could not be understood; it is kept beside
    // under another name before the first write replaces it.
    TagSaver(std::filesystem::path file, bool setAsideFirst);
    ~TagSaver(); // writes what is pending first

    struct Snapshot {
        QList<Tag> tags;
        QHash<QString, TaggedItem> items;
        bool manualOrder = false;
    };

    void schedule(Snapshot snapshot);
    // Returns once everything scheduled so far is written (or failed).
    void waitUntilWritten();

private:
    void run();
    void write(const Snapshot& snapshot);

    const std::filesystem::path m_file;
    bool m_setAside; // only touched by the writer thread once it runs
    std::mutex m_mutex;
    std::condition_variable m_wake;
    std::condition_variable m_idle;
    std::optional<Snapshot> m_pending;
    bool m_writing = false;
    bool m_stopping = false;
    std::thread m_thread;
};
