// Shared main of every test program: a QApplication on the offscreen platform,
// the Japanese locale, and XDG folders inside a scratch folder for the whole run.
#include "core/AppDefaults.h"
#include "core/AppLocale.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <execinfo.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace {

// A crash on a CI machine is often the only sighting of a race: leave its stack in the log.
void printStackAndDie(int signal)
{
    void* frames[64];
    const int count = ::backtrace(frames, 64);
    const char heading[] = "\n*** crashed; stack of the crashing thread:\n";
    [[maybe_unused]] const auto written = ::write(STDERR_FILENO, heading, sizeof heading - 1);
    ::backtrace_symbols_fd(frames, count, STDERR_FILENO);
    ::raise(signal);
}

void reportCrashes()
{
    // Loads libgcc now: backtrace() must not allocate inside the handler.
    void* warmUp[1];
    ::backtrace(warmUp, 1);
    struct sigaction action {};
    action.sa_handler = printStackAndDie;
    action.sa_flags = SA_RESETHAND | SA_NODEFER;
    for (const int signal : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT})
        ::sigaction(signal, &action, nullptr);
}

} // namespace

int main(int argc, char** argv)
{
    // The application object then opens no window and restores or saves no session.
    qputenv("QUILLO_TEST_RUN", "1");
    reportCrashes();
    QTemporaryDir home;
    const QByteArray root = home.path().toUtf8();
    qputenv("HOME", root);
    qputenv("XDG_CONFIG_HOME", root + "/config");
    qputenv("XDG_DATA_HOME", root + "/data");
    qputenv("XDG_CACHE_HOME", root + "/cache");
    qputenv("XDG_RUNTIME_DIR", root + "/runtime");
    QDir().mkpath(QString::fromUtf8(root + "/runtime"));
    QFile::setPermissions(QString::fromUtf8(root + "/runtime"),
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The web preview's engine shares GL contexts with the widgets, and it refuses to
    // start as root (containers, CI) unless its sandbox is off.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    if (::geteuid() == 0)
        qputenv("QTWEBENGINE_DISABLE_SANDBOX", "1");
    QApplication app(argc, argv);
    installAppLocale();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
