#include "app/SingleInstance.h"

#include "app/LaunchArguments.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>

SingleInstance::SingleInstance(QDBusConnection bus, QString name, QObject* parent)
    : QObject(parent)
    , m_bus(std::move(bus))
    , m_name(std::move(name))
{
    qDBusRegisterMetaType<QList<QByteArray>>();
}

SingleInstance::~SingleInstance()
{
    if (m_owner)
        m_bus.interface()->unregisterService(m_name);
    if (m_exported)
        m_bus.unregisterObject(QLatin1String(kPath));
}

SingleInstance::Role SingleInstance::claim()
{
    if (!m_bus.isConnected() || !m_bus.interface())
        return Role::alone;
    // Export before owning the name: whoever sees the name owned may call at once.
    if (!m_exported) {
        m_exported = m_bus.registerObject(QLatin1String(kPath), this,
                                          QDBusConnection::ExportScriptableSlots);
        if (!m_exported)
            return Role::alone;
    }
    const auto reply =
        m_bus.interface()->registerService(m_name, QDBusConnectionInterface::DontQueueService,
                                           QDBusConnectionInterface::DontAllowReplacement);
    if (reply.isValid() && reply.value() == QDBusConnectionInterface::ServiceRegistered) {
        m_owner = true;
        return Role::first;
    }
    m_bus.unregisterObject(QLatin1String(kPath));
    m_exported = false;
    return reply.isValid() ? Role::second : Role::alone;
}

bool SingleInstance::handOver(QDBusConnection bus, const QString& name,
                              const QList<QByteArray>& items, const QByteArray& workingFolder,
                              int timeoutMs)
{
    qDBusRegisterMetaType<QList<QByteArray>>();
    QDBusMessage call = QDBusMessage::createMethodCall(name, QLatin1String(kPath),
                                                       QLatin1String(kInterface), "Open");
    call << QVariant::fromValue(items) << workingFolder;
    // BlockWithGui keeps this thread's events flowing while waiting for the answer.
    const QDBusMessage reply = bus.call(call, QDBus::BlockWithGui, timeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage;
}

void SingleInstance::Open(const QList<QByteArray>& items, const QByteArray& workingFolder)
{
    const std::filesystem::path folder(workingFolder.toStdString());
    Q_EMIT itemsHandedOver(LaunchArguments::resolved(items, folder));
}
