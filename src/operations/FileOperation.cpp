#include "operations/FileOperation.h"

#include "core/MainThread.h"

#include <QLocale>
#include <algorithm>

namespace {

QString byteCount(int64_t bytes)
{
    return QLocale().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat);
}

} // namespace

FileOperation::FileOperation(Kind kind, int itemCount, QObject* parent)
    : QObject(parent)
    , m_kind(kind)
    , m_itemCount(itemCount)
{
}

void FileOperation::setTotalBytes(int64_t bytes)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (m_totalBytes == bytes)
        return;
    m_totalBytes = bytes;
    Q_EMIT changed();
}

void FileOperation::markFinished()
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (m_isFinished)
        return;
    m_isFinished = true;
    if (m_poller)
        m_poller->stop();
    Q_EMIT changed();
    Q_EMIT finished();
}

QString FileOperation::verb(Kind kind)
{
    switch (kind) {
    case Kind::copy:
        return QStringLiteral("コピー");
    case Kind::move:
        return QStringLiteral("移動");
    case Kind::deleteItems:
        return QStringLiteral("削除");
    case Kind::compress:
        return QStringLiteral("圧縮");
    case Kind::expand:
        return QStringLiteral("展開");
    }
    return {};
}

QString FileOperation::title() const
{
    return QString::number(m_itemCount) + QStringLiteral(" 項目を") + verb(m_kind) +
           QStringLiteral("中…");
}

std::optional<double> FileOperation::fraction() const
{
    if (m_totalBytes < 1)
        return std::nullopt;
    return std::min(1.0, double(m_completedBytes) / double(m_totalBytes));
}

QString FileOperation::detail() const
{
    QStringList parts;
    if (m_totalBytes >= 1)
        parts << byteCount(m_completedBytes) + QStringLiteral(" / ") + byteCount(m_totalBytes);
    if (!m_currentName.isEmpty())
        parts << m_currentName;
    return parts.join(QStringLiteral(" ・ "));
}

void FileOperation::syncFromProgress()
{
    QUILLO_ASSERT_MAIN_THREAD();
    const TransferProgress::Snapshot snapshot = m_progress->snapshot();
    bool isChanged = false;
    if (snapshot.bytesDone != m_completedBytes) {
        m_completedBytes = snapshot.bytesDone;
        isChanged = true;
    }
    if (snapshot.name != m_currentName) {
        m_currentName = snapshot.name;
        isChanged = true;
    }
    if (isChanged)
        Q_EMIT changed();
}

void FileOperation::startPolling()
{
    if (m_poller || m_isFinished)
        return;
    m_poller = new QTimer(this);
    m_poller->setTimerType(Qt::PreciseTimer);
    m_poller->setInterval(100);
    connect(m_poller, &QTimer::timeout, this, &FileOperation::syncFromProgress);
    m_poller->start();
}
