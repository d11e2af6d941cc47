#pragma once

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

class QSocketNotifier;
class QTimer;

// Tells its owner that something changed in or below a folder. One inotify
// instance per watcher: the folder and its subfolders (breadth first, up to a
// budget, new ones added as they appear), and the folder's ancestors so that a
// rename or deletion of the folder itself is reported as a change of the folder.
// Every watch is added on a pool thread (a path lookup may hang on a dead mount);
// a change of the folder made before its watch was in place is reported as a
// change of the folder.
// The first event after a quiet period is delivered at once; later ones are
// gathered for `latency` seconds and delivered as one batch. A queue overflow is
// reported as a change of the folder. The handler is called on the main thread;
// destroying the watcher stops it. Creation never fails: a watcher that could not
// start simply never calls its handler.
class DirectoryWatcher : public QObject {
    Q_OBJECT
public:
    using Handler = std::function<void(const std::vector<std::filesystem::path>& paths)>;
    static constexpr int kDefaultBudget = 20000;

    DirectoryWatcher(const std::filesystem::path& folder, double latency, Handler handler,
                     int budget = kDefaultBudget, QObject* parent = nullptr);
    ~DirectoryWatcher() override;

    // Watches this folder (not its subtree) even when the budget is spent, as soon
    // as the walk gets to it: the pane's expanded folders must always follow the disk.
    void watchFolder(const std::filesystem::path& folder);
    // True once the folder's own watch is in place; false for good when it cannot be.
    bool isWatching() const;
    // Folders watched so far, ancestors not counted.
    int watchedFolderCount() const;
    // True once the initial walk of the subtree has finished.
    bool isReady() const;

Q_SIGNALS:
    // The initial walk of the subtree finished; isWatching() is settled by then.
    void ready();

private:
    struct State;
    void startWalk();
    void walkFinished();
    void readEvents();
    // Events held for watches the walk was adding, and changes the walk found.
    void flush();
    void handle(const std::vector<std::filesystem::path>& changed);
    void gather(const std::filesystem::path& path);
    void deliver();
    void latencyPassed();

    // Shared with the background walk, which may outlive the watcher.
    std::shared_ptr<State> m_state;
    // The rest belongs to the main thread.
    std::filesystem::path m_root;
    Handler m_handler;
    int m_latencyMs = 0;
    bool m_ready = false;
    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer* m_latencyTimer = nullptr;
    std::vector<std::filesystem::path> m_gathered;
    std::unordered_set<std::string> m_gatheredSet;
};
