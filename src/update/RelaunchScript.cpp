#include "update/RelaunchScript.h"

#include "core/ShellQuote.h"
#include "platform/AtomicFile.h"
#include "platform/DetachedProcess.h"

#include <QUuid>
#include <algorithm>
#include <cstring>

extern char** environ;

namespace RelaunchScript {

std::string waitForExit(int pid)
{
    return "while kill -0 " + std::to_string(pid) + " 2>/dev/null; do sleep 0.2; done\n";
}

std::vector<std::pair<std::string, std::string>> quilloVariables()
{
    std::vector<std::pair<std::string, std::string>> variables;
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text(*entry);
        const size_t equals = text.find('=');
        if (equals == std::string_view::npos || !text.starts_with("QUILLO_"))
            continue;
        variables.emplace_back(text.substr(0, equals), text.substr(equals + 1));
    }
    std::ranges::sort(variables);
    return variables;
}

std::string launch(const std::filesystem::path& binary, const std::vector<std::string>& excluded)
{
    std::string line = "env";
    for (const std::string& name : excluded)
        line += " -u " + name;
    for (const auto& [name, value] : quilloVariables()) {
        if (std::ranges::find(excluded, name) == excluded.end())
            line += " " + name + "=" + ShellQuote::quote(value);
    }
    return line + " " + ShellQuote::quote(binary.native()) + " >/dev/null 2>&1 &\n";
}

Result<std::filesystem::path> start(const std::string& script, const std::filesystem::path& folder)
{
    const std::filesystem::path file =
        folder / ("quillo-relaunch-" +
                  QUuid::createUuid().toString(QUuid::WithoutBraces).toStdString() + ".sh");
    if (auto written = AtomicFile::write(file, script); !written)
        return std::unexpected(written.error());
    if (auto started = DetachedProcess::start({"/bin/sh", file.native()}); !started)
        return std::unexpected(started.error());
    return file;
}

} // namespace RelaunchScript
