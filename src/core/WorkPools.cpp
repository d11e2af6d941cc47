#include "core/WorkPools.h"

#include <QCoreApplication>

namespace {

// Made on first use and left to the end of the program: a pool that is destroyed
// waits for its work, and work may still be queued while the program shuts down.
QThreadPool& pool(int threads)
{
    auto* made = new QThreadPool;
    made->setMaxThreadCount(threads);
    return *made;
}

} // namespace

namespace WorkPools {

QThreadPool& folderSizes()
{
    // Matches FolderSizeService's two walks at a time; the disk is the limit.
    static QThreadPool& walks = pool(2);
    return walks;
}

QThreadPool& transfers()
{
    // Several operations may run side by side; each runs one step at a time.
    static QThreadPool& jobs = []() -> QThreadPool& {
        QThreadPool& made = pool(4);
        // A step under way ends before the program does, as on Qt's own pool; walks
        // and searches are simply dropped.
        qAddPostRoutine([] { transfers().waitForDone(); });
        return made;
    }();
    return jobs;
}

QThreadPool& fileIndex()
{
    static QThreadPool& walks = pool(1);
    return walks;
}

QThreadPool& archives()
{
    static QThreadPool& jobs = pool(2);
    return jobs;
}

QThreadPool& previews()
{
    static QThreadPool& renders = pool(2);
    return renders;
}

} // namespace WorkPools
