#include "app/SingleInstance.h"

#include "support/Lists.h"
#include "support/TempDir.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTest>
#include <gtest/gtest.h>
#include <optional>

namespace fs = std::filesystem;

namespace {

constexpr int kTimeoutMs = 20000;

// A second connection to the same bus, as another process would have.
class SecondConnection {
public:
    SecondConnection()
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, name()))
    {
    }
    ~SecondConnection() { QDBusConnection::disconnectFromBus(name()); }
    QDBusConnection& bus() { return m_bus; }

private:
    static QString name() { return QStringLiteral("quillo-test-second"); }
    QDBusConnection m_bus;
};

QString uniqueName(const char* what)
{
    return QStringLiteral("app.quillo.Test.%1.p%2")
        .arg(QLatin1String(what))
        .arg(QCoreApplication::applicationPid());
}

TEST(SingleInstanceTest, TheFirstOwnsTheNameAndTheSecondHandsItsItemsOver)
{
    ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "run under dbus-run-session";
    const QString name = uniqueName("handover");
    SingleInstance first(QDBusConnection::sessionBus(), name);
    std::optional<std::vector<fs::path>> received;
    QObject::connect(&first, &SingleInstance::itemsHandedOver,
                     [&](const std::vector<fs::path>& paths) { received = paths; });
    ASSERT_EQ(first.claim(), SingleInstance::Role::first);

    SecondConnection other;
    SingleInstance second(other.bus(), name);
    EXPECT_EQ(second.claim(), SingleInstance::Role::second);
    ASSERT_TRUE(SingleInstance::handOver(other.bus(), name, {"rel dir/x", "/abs/\xFF\xFE", ".."},
                                         "/launch/here"));
    ASSERT_TRUE(received);
    EXPECT_EQ(natives(*received),
              (std::vector<std::string>{"/launch/here/rel dir/x", "/abs/\xFF\xFE", "/launch"}));

    // Nobody owns the name: the hand-over reports failure instead of hanging.
    EXPECT_FALSE(SingleInstance::handOver(other.bus(), uniqueName("nobody"), {}, "/", 5000));
}

// The built program, started with a scratch home on the offscreen platform.
class QuilloLaunch : public QProcess {
public:
    explicit QuilloLaunch(const TempDir& home)
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("QUILLO_TEST_RUN"));
        for (const char* name : {"HOME", "XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_CACHE_HOME"}) {
            const fs::path folder = std::string_view(name) == "HOME" ? home.path() : home / name;
            environment.insert(QLatin1String(name), QString::fromStdString(folder));
        }
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        setProcessEnvironment(environment);
    }
    static QString program() { return QCoreApplication::applicationDirPath() + "/quillo"; }
    bool running() const { return state() != QProcess::NotRunning; }
};

// The real program, as a second launch against this process holding the real name.
TEST(SingleInstanceTest, ASecondLaunchOfQuilloHandsOverAndExits)
{
    ASSERT_TRUE(fs::exists(QuilloLaunch::program().toStdString())) << "build quillo first";
    SingleInstance first(QDBusConnection::sessionBus());
    if (first.claim() != SingleInstance::Role::first)
        GTEST_SKIP() << "another Quillo owns the name on this bus; run under dbus-run-session";
    std::optional<std::vector<fs::path>> received;
    QObject::connect(&first, &SingleInstance::itemsHandedOver,
                     [&](const std::vector<fs::path>& paths) { received = paths; });

    TempDir home;
    const fs::path launchFolder = home.folder("launch");
    QuilloLaunch second(home);
    second.setWorkingDirectory(QString::fromStdString(launchFolder));
    second.start(QuilloLaunch::program(),
                 {"sub dir", "file:///x/a%20b%FF", "--some-option", "/abs"});
    // The answer to the hand-over comes from this thread, so wait with its events flowing.
    ASSERT_TRUE(QTest::qWaitFor([&] { return !second.running(); }, kTimeoutMs))
        << "the second launch kept running";
    EXPECT_EQ(second.exitStatus(), QProcess::NormalExit);
    EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().constData();
    ASSERT_TRUE(received);
    EXPECT_EQ(natives(*received), (std::vector<std::string>{(launchFolder / "sub dir").native(),
                                                            "/x/a b\xFF", "/abs"}));
}

// Two launches at the same moment: one serves, the other hands over to it and exits.
TEST(SingleInstanceTest, TwoSimultaneousLaunchesLeaveOneInstance)
{
    ASSERT_TRUE(fs::exists(QuilloLaunch::program().toStdString())) << "build quillo first";
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    ASSERT_NE(bus, nullptr);
    if (bus->isServiceRegistered(QLatin1String(SingleInstance::kName)))
        GTEST_SKIP() << "another Quillo owns the name on this bus; run under dbus-run-session";

    TempDir home;
    QuilloLaunch a(home), b(home);
    a.start(QuilloLaunch::program(), {QString::fromStdString(home.path())});
    b.start(QuilloLaunch::program(), {QString::fromStdString(home.path())});
    ASSERT_TRUE(QTest::qWaitFor([&] { return a.running() != b.running(); }, kTimeoutMs));
    QuilloLaunch& loser = a.running() ? b : a;
    QuilloLaunch& winner = a.running() ? a : b;
    EXPECT_EQ(loser.exitCode(), 0) << loser.readAllStandardError().constData();
    const QDBusReply<uint> owner = bus->servicePid(QLatin1String(SingleInstance::kName));
    ASSERT_TRUE(owner.isValid());
    EXPECT_EQ(qint64(owner.value()), winner.processId());
    // QProcess ends the survivor when it goes.
}

} // namespace
