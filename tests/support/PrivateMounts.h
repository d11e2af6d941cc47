#pragma once

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sched.h>
#include <string>
#include <sys/mount.h>

// This test program's own mount namespace, entered once: mounts made in it vanish
// when the program ends, whatever happens. Empty when the system does not allow it.
inline std::string privateMountsUnavailable()
{
    static const std::string reason = [] {
        if (::unshare(CLONE_NEWNS) != 0)
            return std::string("cannot make a mount namespace: ") + std::strerror(errno);
        if (::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
            return std::string("cannot make mounts private: ") + std::strerror(errno);
        return std::string();
    }();
    return reason;
}

// A mount made in that namespace, undone when it goes.
struct Mount {
    std::filesystem::path point;
    bool ok;
    Mount(const char* source, const std::filesystem::path& at, const char* type,
          unsigned long flags, const char* data = nullptr)
        : point((std::filesystem::create_directories(at), at))
        , ok(::mount(source, at.c_str(), type, flags, data) == 0)
    {
    }
    ~Mount()
    {
        if (ok)
            ::umount2(point.c_str(), MNT_DETACH);
    }
};
