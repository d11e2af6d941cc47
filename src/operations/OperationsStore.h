#pragma once

#include <QObject>
#include <vector>

class FileOperation;

// The running operations, oldest first, and when the panel should show them:
// an operation still running half a second after it started brings the panel up;
// the panel goes away when the last one finishes. Main thread only.
class OperationsStore : public QObject {
    Q_OBJECT
public:
    static constexpr int kShowDelayMs = 500;

    explicit OperationsStore(QObject* parent = nullptr);
    static OperationsStore& shared();

    const std::vector<FileOperation*>& operations() const { return m_operations; }

    // Takes ownership of the operation until it finishes.
    void start(FileOperation* operation);
    void finish(FileOperation* operation);

Q_SIGNALS:
    void operationAdded(FileOperation* operation);
    void operationRemoved(FileOperation* operation);
    void showRequested(); // an operation outlived the delay
    void hideRequested(); // nothing is running any more

private:
    std::vector<FileOperation*> m_operations;
};
