#include "app/FileManager1Service.h"

#include "core/FileUri.h"
#include "core/PathText.h"

#include <QDBusConnectionInterface>

namespace fs = std::filesystem;

FileManager1Service::FileManager1Service(QDBusConnection bus, QObject* parent)
    : QObject(parent)
    , m_bus(std::move(bus))
{
}

FileManager1Service::~FileManager1Service()
{
    if (!m_name.isEmpty())
        m_bus.interface()->unregisterService(m_name);
    if (m_exported)
        m_bus.unregisterObject(QLatin1String(kPath));
}

bool FileManager1Service::serve(const QString& name)
{
    if (!m_bus.isConnected() || !m_bus.interface())
        return false;
    m_exported =
        m_bus.registerObject(QLatin1String(kPath), this, QDBusConnection::ExportScriptableSlots);
    if (!m_exported)
        return false;
    const auto reply =
        m_bus.interface()->registerService(name, QDBusConnectionInterface::DontQueueService,
                                           QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_name = name;
        return true;
    }
    m_bus.unregisterObject(QLatin1String(kPath));
    m_exported = false;
    return false;
}

std::vector<fs::path> FileManager1Service::pathsOf(const QStringList& uris)
{
    std::vector<fs::path> paths;
    for (const QString& uri : uris) {
        // URIs are ASCII; anything else came in as UTF-8 on the bus.
        const QByteArray bytes = uri.toUtf8();
        std::optional<fs::path> path;
        if (bytes.startsWith('/'))
            path = fs::path(bytes.toStdString());
        else
            path = FileUri::toPath(bytes);
        if (path && path->is_absolute())
            paths.push_back(PathText::standardized(*path));
    }
    return paths;
}

void FileManager1Service::ShowFolders(const QStringList& uris, const QString&)
{
    Q_EMIT foldersRequested(pathsOf(uris));
}

void FileManager1Service::ShowItems(const QStringList& uris, const QString&)
{
    Q_EMIT itemsRequested(pathsOf(uris));
}

void FileManager1Service::ShowItemProperties(const QStringList& uris, const QString&)
{
    Q_EMIT propertiesRequested(pathsOf(uris));
}
