#include "tags/TagSaver.h"

#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"
#include "tags/TagLibraryFile.h"

#include <QDebug>

namespace fs = std::filesystem;

TagSaver::TagSaver(fs::path file, bool setAsideFirst)
    : m_file(std::move(file))
    , m_setAside(setAsideFirst)
    , m_thread([this] { run(); })
{
}

TagSaver::~TagSaver()
{
    {
        std::lock_guard lock(m_mutex);
        m_stopping = true;
    }
    m_wake.notify_all();
    m_thread.join();
}

void TagSaver::schedule(Snapshot snapshot)
{
    {
        std::lock_guard lock(m_mutex);
        m_pending = std::move(snapshot);
    }
    m_wake.notify_all();
}

void TagSaver::waitUntilWritten()
{
    std::unique_lock lock(m_mutex);
    m_idle.wait(lock, [this] { return !m_pending && !m_writing; });
}

void TagSaver::run()
{
    std::unique_lock lock(m_mutex);
    for (;;) {
        m_wake.wait(lock, [this] { return m_pending || m_stopping; });
        if (!m_pending)
            return; // stopping with nothing left
        Snapshot snapshot = std::move(*m_pending);
        m_pending.reset();
        m_writing = true;
        lock.unlock();
        write(snapshot);
        lock.lock();
        m_writing = false;
        if (!m_pending)
            m_idle.notify_all();
    }
}

void TagSaver::write(const Snapshot& snapshot)
{
    if (m_setAside && DirectoryScanner::exists(m_file)) {
        const auto kept = AtomicFile::setAside(m_file, AtomicFile::corruptSuffix());
        if (!kept) {
            // Never overwrite a file we could not keep.
            qWarning().noquote() << QStringLiteral("タグを保存できませんでした: ") +
                                        kept.error().description();
            return;
        }
        qWarning().noquote() << "tags file could not be read; kept as"
                             << QString::fromStdString(kept->native());
    }
    m_setAside = false;
    const QByteArray json =
        TagLibraryFile::encode(snapshot.tags, snapshot.items, snapshot.manualOrder);
    if (auto written =
            AtomicFile::write(m_file, std::string_view(json.data(), size_t(json.size())));
        !written) {
        qWarning().noquote() << QStringLiteral("タグを保存できませんでした: ") +
                                    written.error().description();
    }
}
