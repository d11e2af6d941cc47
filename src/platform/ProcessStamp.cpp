#include "platform/ProcessStamp.h"

#include "platform/DirectoryScanner.h"

#include <charconv>
#include <optional>
#include <unistd.h>

namespace {

struct ProcStat {
    char state = '?';
    uint64_t startTicks = 0;
};

// /proc/PID/stat: the name in parentheses may hold anything, so fields are counted
// after its last ")"; state is field 3 and starttime field 22.
std::optional<ProcStat> procStat(int pid)
{
    const auto text =
        DirectoryScanner::readSmallFile("/proc/" + std::to_string(pid) + "/stat", 4096);
    if (!text)
        return std::nullopt;
    size_t at = text->rfind(')');
    if (at == std::string::npos)
        return std::nullopt;
    ProcStat out;
    for (int field = 3; field <= 22; ++field) {
        at = text->find_first_not_of(' ', text->find(' ', at));
        if (at == std::string::npos)
            return std::nullopt;
        if (field == 3)
            out.state = (*text)[at];
        else if (field == 22)
            std::from_chars(text->data() + at, text->data() + text->size(), out.startTicks);
    }
    return out;
}

std::string currentBootId()
{
    static const std::string id = [] {
        auto text = DirectoryScanner::readSmallFile("/proc/sys/kernel/random/boot_id", 64);
        std::string out = text.value_or(std::string());
        while (!out.empty() && (out.back() == '\n' || out.back() == ' '))
            out.pop_back();
        return out;
    }();
    return id;
}

} // namespace

ProcessStamp ProcessStamp::current()
{
    const int pid = static_cast<int>(::getpid());
    const auto stat = procStat(pid);
    return ProcessStamp{pid, stat ? stat->startTicks : 0, currentBootId()};
}

std::string ProcessStamp::text() const
{
    return std::to_string(pid) + "-" + std::to_string(startTicks) + "-" + bootId;
}

ProcessStamp ProcessStamp::parse(const std::string& text)
{
    ProcessStamp out;
    const char* end = text.data() + text.size();
    auto [afterPid, pidError] = std::from_chars(text.data(), end, out.pid);
    if (pidError != std::errc() || afterPid == end || *afterPid != '-' || out.pid <= 0)
        return {};
    auto [afterStart, startError] = std::from_chars(afterPid + 1, end, out.startTicks);
    if (startError != std::errc() || afterStart == end || *afterStart != '-')
        return {};
    out.bootId.assign(afterStart + 1, end);
    return out;
}

bool ProcessStamp::isRunning() const
{
    if (pid <= 0 || bootId != currentBootId())
        return false;
    const auto stat = procStat(pid);
    return stat && stat->startTicks == startTicks && stat->state != 'Z' && stat->state != 'X';
}
