#include "platform/UserNames.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>
#include <vector>

namespace UserNames {

std::optional<std::string> user(uid_t uid)
{
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    if (::getpwuid_r(uid, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return std::string(found->pw_name);
    return std::nullopt;
}

std::optional<std::string> group(gid_t gid)
{
    std::vector<char> buffer(16384);
    struct group entry {};
    struct group* found = nullptr;
    if (::getgrgid_r(gid, &entry, buffer.data(), buffer.size(), &found) == 0 && found)
        return std::string(found->gr_name);
    return std::nullopt;
}

bool mayChangeModeOf(uid_t owner)
{
    const uid_t self = ::geteuid();
    return self == 0 || self == owner;
}

} // namespace UserNames
