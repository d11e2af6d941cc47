#include "operations/TransferProgress.h"

#include <QtGlobal>

namespace {

int64_t checkedSum(int64_t a, int64_t b)
{
    int64_t sum;
    if (__builtin_add_overflow(a, b, &sum))
        qFatal("TransferProgress: byte count overflow");
    return sum;
}

} // namespace

void TransferProgress::fileStarted(const QString& name)
{
    std::lock_guard lock(m_lock);
    m_name = name;
    m_currentFileBytes = 0;
}

void TransferProgress::setCurrentFileBytes(int64_t bytes)
{
    std::lock_guard lock(m_lock);
    m_currentFileBytes = bytes;
}

void TransferProgress::fileFinished()
{
    std::lock_guard lock(m_lock);
    m_finishedBytes = checkedSum(m_finishedBytes, m_currentFileBytes);
    m_currentFileBytes = 0;
}

void TransferProgress::cancel()
{
    std::lock_guard lock(m_lock);
    m_cancelled = true;
}

bool TransferProgress::isCancelled() const
{
    std::lock_guard lock(m_lock);
    return m_cancelled;
}

TransferProgress::Snapshot TransferProgress::snapshot() const
{
    std::lock_guard lock(m_lock);
    return {checkedSum(m_finishedBytes, m_currentFileBytes), m_name, m_cancelled};
}
