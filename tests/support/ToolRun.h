#pragma once

#include <QProcessEnvironment>
#include <QStringList>
#include <filesystem>
#include <string>
#include <vector>

// A finished child process: its exit status (-1 when it did not exit normally)
// and everything it printed.
struct ToolRun {
    int status = -1;
    std::string out;
    std::string err;
};

ToolRun
runProgram(const QString& program, const QStringList& arguments,
           const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

// As runProgram, with `input` as the child's whole standard input (closed after it).
ToolRun runProgramWithInput(const QString& program, const QStringList& arguments,
                            const std::string& input);

// The quillo-tool under test ($QUILLO_TOOL, set by CTest).
std::string quilloTool();

// quillo-tool with these arguments, `input` as its whole standard input.
ToolRun runTool(const std::vector<std::string>& arguments, const std::string& input = {},
                const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());

// git in `folder` with no user or system configuration but a committer name;
// its exit status.
int runGit(const std::filesystem::path& folder, const QStringList& arguments);
