#pragma once

#include <QString>
#include <cstdint>
#include <mutex>

// Byte progress of one operation, shared by the copying thread, the 100 ms
// poller and the cancel button. The lock is held for single reads and writes only.
class TransferProgress {
public:
    struct Snapshot {
        int64_t bytesDone = 0; // finished files plus the current one
        QString name;          // the file being copied now
        bool cancelled = false;
    };

    void fileStarted(const QString& name); // current bytes to 0
    void setCurrentFileBytes(int64_t bytes);
    void fileFinished(); // current bytes move into the finished total
    void cancel();
    bool isCancelled() const;
    Snapshot snapshot() const;

private:
    mutable std::mutex m_lock;
    int64_t m_finishedBytes = 0;
    int64_t m_currentFileBytes = 0;
    bool m_cancelled = false;
    QString m_name;
};
