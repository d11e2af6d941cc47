#include "insight/FolderSizeService.h"

#include "core/MainThread.h"
#include "core/PathText.h"
#include "core/WorkPools.h"

#include <QtConcurrent/QtConcurrentRun>

namespace fs = std::filesystem;

FolderSizeService& FolderSizeService::shared()
{
    static FolderSizeService* instance = new FolderSizeService;
    return *instance;
}

FolderSizeService::FolderSizeService(Walk walk, QObject* parent)
    : QObject(parent)
    , m_walk(walk ? std::move(walk) : Walk(TreeSize::measure))
{
}

void FolderSizeService::request(const std::vector<fs::path>& folders, Owner owner,
                                Completion completion)
{
    QUILLO_ASSERT_MAIN_THREAD();
    m_cancelledOwners.erase(owner);
    for (const fs::path& folder : folders) {
        const auto cached = m_cache.find(folder.native());
        if (cached != m_cache.end()) {
            completion(folder, cached->second);
            continue;
        }
        // A pane that re-reads while a folder waits asks again; one walk answers both.
        const std::string key = queueKey(folder, owner);
        const auto waiting = m_waiting.find(key);
        if (waiting != m_waiting.end()) {
            waiting->second->completion = completion;
            continue;
        }
        m_queue.push_back(Request{folder, owner, completion});
        m_waiting.emplace(key, &m_queue.back());
    }
    startNext();
}

std::string FolderSizeService::queueKey(const fs::path& folder, Owner owner)
{
    std::string key = folder.native();
    key.push_back('\0');
    key.append(reinterpret_cast<const char*>(&owner), sizeof owner);
    return key;
}

void FolderSizeService::cancel(Owner owner)
{
    m_cancelledOwners.insert(owner);
}

void FolderSizeService::startNext()
{
    while (!m_queue.empty() && m_running < kMaxRunning) {
        Request next = std::move(m_queue.front());
        m_queue.pop_front();
        m_waiting.erase(queueKey(next.folder, next.owner));
        ++m_running;
        const fs::path folder = next.folder;
        QtConcurrent::run(&WorkPools::folderSizes(), [walk = m_walk, folder] {
            return walk(folder);
        }).then(this, [this, next = std::move(next)](TreeSize::Measure size) mutable {
            finish(std::move(next), size);
        });
    }
}

void FolderSizeService::finish(Request request, TreeSize::Measure size)
{
    m_cache[request.folder.native()] = size;
    --m_running;
    // Delivery may start new requests or cancel owners; the bookkeeping is done first.
    if (!m_cancelledOwners.contains(request.owner))
        request.completion(request.folder, size);
    startNext();
}

void FolderSizeService::invalidate(const fs::path& path)
{
    std::string current = PathText::standardized(path).native();
    while (!current.empty() && current != "/") {
        m_cache.erase(current);
        const size_t slash = current.rfind('/');
        if (slash == std::string::npos)
            break;
        current.resize(slash);
    }
}

std::optional<TreeSize::Measure> FolderSizeService::cachedSize(const fs::path& folder) const
{
    const auto found = m_cache.find(folder.native());
    if (found == m_cache.end())
        return std::nullopt;
    return found->second;
}
