#include "app/FileManager1Service.h"

#include "app/Application.h"
#include "browser/PaneTesting.h"
#include "browser/window/BrowserWindow.h"
#include "support/Lists.h"

#include <QDBusMessage>

namespace fs = std::filesystem;
using namespace testing_pane;

namespace {

// A file URI built from the raw bytes of a path.
QString uriOf(const fs::path& path)
{
    return QStringLiteral("file://") +
           QString::fromLatin1(QByteArray::fromStdString(path.native()).toPercentEncoding("/"));
}

// Calls a FileManager1 method from a second connection, as another program would.
class Caller {
public:
    explicit Caller(QString service)
        : m_service(std::move(service))
        , m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, kConnection))
    {
    }
    ~Caller() { QDBusConnection::disconnectFromBus(kConnection); }

    bool call(const char* method, const QStringList& uris)
    {
        QDBusMessage message = QDBusMessage::createMethodCall(
            m_service, QLatin1String(FileManager1Service::kPath),
            QStringLiteral("org.freedesktop.FileManager1"), QLatin1String(method));
        message << uris << QString();
        return m_bus.call(message, QDBus::BlockWithGui, kTimeoutMs).type() ==
               QDBusMessage::ReplyMessage;
    }

private:
    static inline const QString kConnection = QStringLiteral("quillo-test-caller");
    QString m_service;
    QDBusConnection m_bus;
};

class FileManager1ServiceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QDBusConnection::sessionBus().isConnected()) << "run under dbus-run-session";
        // A name of our own, so a real file manager on the bus is never displaced.
        ASSERT_TRUE(service.serve(name));
        QObject::connect(&service, &FileManager1Service::foldersRequested, &app,
                         &Application::openItems);
        QObject::connect(&service, &FileManager1Service::itemsRequested, &app,
                         &Application::showItems);
        QObject::connect(&service, &FileManager1Service::propertiesRequested, &app,
                         [this](const std::vector<fs::path>& items) { properties = items; });
    }

    PaneView* activePane() const
    {
        return app.controllers().empty() ? nullptr : app.controllers().back()->activePane();
    }

    TempDir dir;
    std::vector<fs::path> properties;
    Application app;
    const QString name =
        QStringLiteral("app.quillo.Test.FileManager1.p%1").arg(QCoreApplication::applicationPid());
    FileManager1Service service{QDBusConnection::sessionBus()};
    Caller caller{name};
};

TEST_F(FileManager1ServiceTest, ShowItemsSelectsTheExactBytesInTheParent)
{
    const fs::path item = dir.file("a b\xFF.txt");
    dir.file("other.txt");
    ASSERT_TRUE(uriOf(item).endsWith("/a%20b%FF.txt"));
    ASSERT_TRUE(caller.call("ShowItems", {uriOf(item)}));
    PaneView* pane = activePane();
    ASSERT_NE(pane, nullptr);
    EXPECT_EQ(pane->location().path(), dir.path());
    ASSERT_TRUE(QTest::qWaitFor([&] { return !pane->selectedPaths().empty(); }, kTimeoutMs));
    ASSERT_EQ(pane->selectedPaths().size(), 1u);
    EXPECT_EQ(pane->selectedPaths().front().native(), item.native());

    const fs::path other = dir / "other.txt";
    ASSERT_TRUE(caller.call("ShowItemProperties", {uriOf(other)}));
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return properties == std::vector<fs::path>{other}; }, kTimeoutMs));
}

TEST_F(FileManager1ServiceTest, ShowFoldersOpensEachFolder)
{
    const fs::path folder = dir.folder("caf\xE9 dir");
    ASSERT_TRUE(caller.call("ShowFolders",
                            {uriOf(folder) + "/", "https://example.com/", "file://elsewhere/x"}));
    ASSERT_NE(activePane(), nullptr);
    EXPECT_EQ(activePane()->location().path().native(), folder.native());
    EXPECT_EQ(app.controllers().size(), 1u);
    EXPECT_EQ(app.controllers().front()->tabCount(), 1);
}

TEST(FileManager1PathsTest, LocalUrisAndPlainPathsOnly)
{
    EXPECT_EQ(
        natives(FileManager1Service::pathsOf({"file:///x/y%20z/", "/plain/../path", "relative/path",
                                              "smb://host/share", "file:///%E2%9C%93"})),
        (std::vector<std::string>{"/x/y z", "/path", "/\xE2\x9C\x93"}));
}

} // namespace
