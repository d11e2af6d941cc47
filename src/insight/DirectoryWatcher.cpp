#include "insight/DirectoryWatcher.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "insight/DirectoryWatcherState.h"

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <cmath>

namespace fs = std::filesystem;

namespace {

// Beyond this a latency is a mistake; it also keeps the milliseconds within an int.
constexpr double kMaxLatency = 3600;

} // namespace

DirectoryWatcher::DirectoryWatcher(const fs::path& folder, double latency, Handler handler,
                                   int budget, QObject* parent)
    : QObject(parent)
    , m_root(PathText::standardized(folder))
    , m_handler(std::move(handler))
    , m_latencyMs(int(std::lround((latency > 0 ? std::min(latency, kMaxLatency) : 0.0) * 1000)))
{
    m_latencyTimer = new QTimer(this);
    m_latencyTimer->setSingleShot(true);
    connect(m_latencyTimer, &QTimer::timeout, this, &DirectoryWatcher::latencyPassed);

    auto inotify = Inotify::create();
    if (!inotify) {
        // Nothing to walk: ready all the same, so that nobody waits for it.
        QMetaObject::invokeMethod(this, &DirectoryWatcher::walkFinished, Qt::QueuedConnection);
        return;
    }
    m_state = std::make_shared<State>(std::move(*inotify), m_root, budget);
    {
        std::lock_guard lock(m_state->mutex);
        m_state->requests.push_back({m_root, State::WatchRequest::Kind::root, Inotify::now()});
        m_state->owner = this;
    }
    m_notifier =
        std::make_unique<QSocketNotifier>(m_state->inotify.descriptor(), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &DirectoryWatcher::readEvents);
    startWalk();
}

DirectoryWatcher::~DirectoryWatcher()
{
    // The notifier goes first: the descriptor may close as soon as the walk lets go.
    m_notifier.reset();
    if (m_state) {
        std::lock_guard lock(m_state->mutex);
        m_state->cancelled = true;
        m_state->requests.clear();
        m_state->pending.clear();
        m_state->owner = nullptr;
    }
}

void DirectoryWatcher::watchFolder(const fs::path& folder)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (!m_state)
        return;
    {
        std::lock_guard lock(m_state->mutex);
        m_state->requests.push_back(
            {PathText::standardized(folder), State::WatchRequest::Kind::expanded});
    }
    startWalk();
}

bool DirectoryWatcher::isWatching() const
{
    if (!m_state)
        return false;
    std::lock_guard lock(m_state->mutex);
    return m_state->watches.contains(m_state->rootWatch);
}

int DirectoryWatcher::watchedFolderCount() const
{
    if (!m_state)
        return 0;
    std::lock_guard lock(m_state->mutex);
    return int(m_state->contentWatches.size());
}

bool DirectoryWatcher::isReady() const
{
    return m_ready;
}

void DirectoryWatcher::startWalk()
{
    {
        std::lock_guard lock(m_state->mutex);
        if (m_state->walking || (m_state->requests.empty() && m_state->pending.empty()))
            return;
        m_state->walking = true;
    }
    State::schedule(m_state);
}

void DirectoryWatcher::walkFinished()
{
    if (m_ready)
        return;
    m_ready = true;
    Q_EMIT ready();
}

void DirectoryWatcher::readEvents()
{
    const auto events = m_state->inotify.readEvents();
    if (!events) {
        // A descriptor that cannot be read would only make the notifier spin.
        m_notifier->setEnabled(false);
        return;
    }
    std::vector<fs::path> changed;
    {
        std::lock_guard lock(m_state->mutex);
        const uint64_t mark = m_state->addsStarted;
        for (const Inotify::Event& event : *events)
            m_state->interpret(event, mark, changed);
    }
    handle(changed);
}

void DirectoryWatcher::flush()
{
    std::vector<fs::path> changed;
    {
        std::lock_guard lock(m_state->mutex);
        m_state->flushPosted = false;
        changed = std::exchange(m_state->lateChanges, {});
        for (const State::HeldEvent& held : std::exchange(m_state->held, {}))
            m_state->interpret(held.event, held.mark, changed);
    }
    handle(changed);
}

void DirectoryWatcher::handle(const std::vector<fs::path>& changed)
{
    startWalk();
    for (const fs::path& path : changed)
        gather(path);
    if (!m_gathered.empty() && !m_latencyTimer->isActive())
        deliver();
}

void DirectoryWatcher::gather(const fs::path& path)
{
    if (m_gatheredSet.insert(path.native()).second)
        m_gathered.push_back(path);
}

void DirectoryWatcher::deliver()
{
    std::vector<fs::path> batch = std::exchange(m_gathered, {});
    m_gatheredSet.clear();
    m_latencyTimer->start(m_latencyMs);
    // The handler may destroy this watcher: nothing of it is touched afterwards,
    // and the handler runs from a copy that outlives it.
    const Handler handler = m_handler;
    if (handler)
        handler(batch);
}

void DirectoryWatcher::latencyPassed()
{
    // Nothing gathered means a quiet period starts: the next event goes out at once.
    if (!m_gathered.empty())
        deliver();
}
