#include "platform/BirthTime.h"

#include <fcntl.h>
#include <sys/stat.h>

std::optional<QDateTime> birthTime(const std::filesystem::path& file)
{
    struct statx facts {};
    if (::statx(AT_FDCWD, file.c_str(), AT_STATX_SYNC_AS_STAT, STATX_BTIME, &facts) != 0 ||
        !(facts.stx_mask & STATX_BTIME))
        return std::nullopt;
    const qint64 milliseconds =
        qint64(facts.stx_btime.tv_sec) * 1000 + qint64(facts.stx_btime.tv_nsec) / 1'000'000;
    return QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC);
}
