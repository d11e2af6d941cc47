#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

class TransferProgress;

// Watches a long command's shared progress from a thread of its own, so that the
// work never waits for the terminal: turns Ctrl+C (and SIGTERM) into a cancel,
// after which the engine removes what it had written, and with `print` writes
// "BYTES<TAB>NAME" to standard error up to ten times a second.
class ProgressPoller {
public:
    ProgressPoller(TransferProgress& progress, bool print);
    ~ProgressPoller();
    ProgressPoller(const ProgressPoller&) = delete;
    ProgressPoller& operator=(const ProgressPoller&) = delete;

private:
    void run();

    TransferProgress& m_progress;
    bool m_print;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_done = false;
    std::thread m_thread;
};
