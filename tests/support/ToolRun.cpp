#include "support/ToolRun.h"

#include <QProcess>
#include <cstdlib>

namespace {

ToolRun run(const QString& program, const QStringList& arguments,
            const QProcessEnvironment& environment, const std::string* input)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (input != nullptr && process.waitForStarted(-1)) {
        process.write(input->data(), qint64(input->size()));
        process.closeWriteChannel();
    }
    process.waitForFinished(-1);
    const bool exited =
        process.error() == QProcess::UnknownError && process.exitStatus() == QProcess::NormalExit;
    return {exited ? process.exitCode() : -1, process.readAllStandardOutput().toStdString(),
            process.readAllStandardError().toStdString()};
}

} // namespace

ToolRun runProgram(const QString& program, const QStringList& arguments,
                   const QProcessEnvironment& environment)
{
    return run(program, arguments, environment, nullptr);
}

ToolRun runProgramWithInput(const QString& program, const QStringList& arguments,
                            const std::string& input)
{
    return run(program, arguments, QProcessEnvironment::systemEnvironment(), &input);
}

std::string quilloTool()
{
    const char* path = std::getenv("QUILLO_TOOL");
    return path ? path : "quillo-tool";
}

ToolRun runTool(const std::vector<std::string>& arguments, const std::string& input,
                const QProcessEnvironment& environment)
{
    QStringList list;
    for (const std::string& argument : arguments)
        list << QString::fromStdString(argument);
    return run(QString::fromStdString(quilloTool()), list, environment, &input);
}

int runGit(const std::filesystem::path& folder, const QStringList& arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("GIT_CONFIG_NOSYSTEM", "1");
    environment.insert("GIT_CONFIG_GLOBAL", "/dev/null");
    const QStringList common = {"-C", QString::fromStdString(folder.native()),
                                "-c", "user.name=Quillo Test",
                                "-c", "user.email=test@example.invalid"};
    return runProgram("git", common + arguments, environment).status;
}
