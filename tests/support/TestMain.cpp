// Shared main of every test program: a QApplication on the offscreen platform,
// the Japanese locale, and XDG folders inside a scratch folder for the whole run.
#include "core/AppDefaults.h"
#include "core/AppLocale.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <gtest/gtest.h>
#include <unistd.h>

int main(int argc, char** argv)
{
    // The application object then opens no window and restores or saves no session.
    qputenv("QUILLO_TEST_RUN", "1");
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
