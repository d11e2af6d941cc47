#include "ProgressPoller.h"

#include "core/PathText.h"
#include "operations/TransferProgress.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>

namespace {

// A signal handler may not take the progress lock: it only raises this flag.
std::atomic<bool> g_interrupted = false;

extern "C" void interrupt(int)
{
    g_interrupted = true;
}

} // namespace

ProgressPoller::ProgressPoller(TransferProgress& progress, bool print)
    : m_progress(progress)
    , m_print(print)
{
    std::signal(SIGINT, interrupt);
    std::signal(SIGTERM, interrupt);
    m_thread = std::thread([this] { run(); });
}

ProgressPoller::~ProgressPoller()
{
    {
        std::lock_guard lock(m_mutex);
        m_done = true;
    }
    m_wake.notify_one();
    m_thread.join();
}

// Bytes done only: a total would need a walk of the whole tree beside the work.
void ProgressPoller::run()
{
    int64_t shown = -1;
    std::unique_lock lock(m_mutex);
    for (bool last = false; !last;) {
        last = m_wake.wait_for(lock, std::chrono::milliseconds(100), [this] { return m_done; });
        if (g_interrupted)
            m_progress.cancel();
        const auto now = m_progress.snapshot();
        if (m_print && (now.bytesDone != shown || last)) {
            std::fprintf(stderr, "%lld\t%s\n", static_cast<long long>(now.bytesDone),
                         PathText::escapedName(now.name.toStdString()).c_str());
            shown = now.bytesDone;
        }
    }
}
