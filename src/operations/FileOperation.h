#pragma once

#include "operations/TransferProgress.h"

#include <QObject>
#include <QTimer>
#include <QUuid>
#include <memory>
#include <optional>

// One running operation as the operations panel shows it. Main thread only,
// except `progress`, which the copying thread shares.
class FileOperation : public QObject {
    Q_OBJECT
public:
    enum class Kind { copy, move, deleteItems, compress, expand };

    FileOperation(Kind kind, int itemCount, QObject* parent = nullptr);

    QUuid id() const { return m_id; }
    Kind kind() const { return m_kind; }
    int itemCount() const { return m_itemCount; }
    int64_t totalBytes() const { return m_totalBytes; }
    void setTotalBytes(int64_t bytes);
    int64_t completedBytes() const { return m_completedBytes; }
    const QString& currentName() const { return m_currentName; }
    bool isFinished() const { return m_isFinished; }
    void markFinished();
    TransferProgress& progress() const { return *m_progress; }
    std::shared_ptr<TransferProgress> sharedProgress() const { return m_progress; }

    static QString verb(Kind kind); // "コピー", "移動", "削除", "圧縮", "展開"
    QString title() const;          // "3 項目をコピー中…"
    std::optional<double> fraction() const;
    QString detail() const; // "1.2 MB / 4 MB ・ name"

    // Copies the progress counters in; called by the 100 ms poller.
    void syncFromProgress();
    // Polls the progress every 100 ms until the operation is finished.
    void startPolling();

Q_SIGNALS:
    void changed();
    void finished();

private:
    QUuid m_id = QUuid::createUuid();
    Kind m_kind;
    int m_itemCount;
    int64_t m_totalBytes = 0;
    int64_t m_completedBytes = 0;
    QString m_currentName;
    bool m_isFinished = false;
    std::shared_ptr<TransferProgress> m_progress = std::make_shared<TransferProgress>();
    QTimer* m_poller = nullptr;
};
