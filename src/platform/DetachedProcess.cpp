#include "platform/DetachedProcess.h"

#include <cerrno>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

extern char** environ;

namespace DetachedProcess {

namespace {

struct Actions {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    Actions()
    {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
    }
    ~Actions()
    {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    Actions(const Actions&) = delete;
    Actions& operator=(const Actions&) = delete;
};

} // namespace

Result<int> start(const std::vector<std::string>& argv, const Options& options)
{
    if (argv.empty() || argv.front().empty())
        return std::unexpected(Error::fromErrno(ENOENT));
    if (!options.workingFolder.empty() && ::access(options.workingFolder.c_str(), X_OK) != 0)
        return std::unexpected(Error::fromErrno(errno, options.workingFolder));
    Actions spawn;
    ::posix_spawn_file_actions_addopen(&spawn.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_addopen(&spawn.actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    if (!options.workingFolder.empty())
        ::posix_spawn_file_actions_addchdir_np(&spawn.actions, options.workingFolder.c_str());
    short flags = POSIX_SPAWN_SETSIGMASK;
    if (options.newSession)
        flags |= POSIX_SPAWN_SETSID;
    sigset_t none;
    sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&spawn.attributes, &none);
    ::posix_spawnattr_setflags(&spawn.attributes, flags);

    std::vector<char*> arguments;
    for (const std::string& argument : argv)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    pid_t child = 0;
    const int failed = ::posix_spawnp(&child, arguments.front(), &spawn.actions, &spawn.attributes,
                                      arguments.data(), environ);
    if (failed != 0)
        return std::unexpected(Error::fromErrno(failed, argv.front()));
    // Nobody waits for it otherwise, and a zombie would stay until we quit.
    std::thread([child] {
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }).detach();
    return int(child);
}

} // namespace DetachedProcess
