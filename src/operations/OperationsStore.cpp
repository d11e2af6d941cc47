#include "operations/OperationsStore.h"

#include "core/MainThread.h"
#include "operations/FileOperation.h"

#include <QPointer>
#include <QTimer>
#include <algorithm>

OperationsStore::OperationsStore(QObject* parent)
    : QObject(parent)
{
}

OperationsStore& OperationsStore::shared()
{
    static auto* instance = new OperationsStore;
    return *instance;
}

void OperationsStore::start(FileOperation* operation)
{
    QUILLO_ASSERT_MAIN_THREAD();
    operation->setParent(this);
    m_operations.push_back(operation);
    Q_EMIT operationAdded(operation);
    // Short operations never bring the panel up.
    QTimer::singleShot(kShowDelayMs, Qt::PreciseTimer, this,
                       [this, guard = QPointer<FileOperation>(operation)] {
                           if (guard && !guard->isFinished())
                               Q_EMIT showRequested();
                       });
}

void OperationsStore::finish(FileOperation* operation)
{
    QUILLO_ASSERT_MAIN_THREAD();
    operation->markFinished();
    const auto it = std::find_if(m_operations.begin(), m_operations.end(),
                                 [&](FileOperation* o) { return o->id() == operation->id(); });
    if (it == m_operations.end())
        return;
    m_operations.erase(it);
    Q_EMIT operationRemoved(operation);
    if (m_operations.empty())
        Q_EMIT hideRequested();
    operation->deleteLater();
}
