#pragma once

#include <QByteArray>
#include <QDBusConnection>
#include <QList>
#include <QObject>
#include <filesystem>
#include <vector>

// One Quillo per session: the first launch owns "app.quillo.Quillo" on the session
// bus; a later launch hands its items and working folder to it and exits. The
// name is requested without queueing, so of two launches at the same moment the
// bus picks exactly one owner and the other hands over.
class SingleInstance : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "app.quillo.Quillo")
public:
    static constexpr const char* kName = "app.quillo.Quillo";
    static constexpr const char* kPath = "/app/quillo/Quillo";
    static constexpr const char* kInterface = "app.quillo.Quillo";

    enum class Role {
        first,  // owns the name and serves hand-overs
        second, // another process owns the name
        alone,  // no session bus, or the bus refused: run on our own
    };

    // `name` is the bus name to own; tests pass their own.
    explicit SingleInstance(QDBusConnection bus, QString name = QLatin1String(kName),
                            QObject* parent = nullptr);
    ~SingleInstance() override;

    // Exports the hand-over method first, then asks for the name.
    Role claim();

    // Calls the owner's Open; false when it does not answer in time.
    static bool handOver(QDBusConnection bus, const QString& name, const QList<QByteArray>& items,
                         const QByteArray& workingFolder, int timeoutMs = 10000);

public Q_SLOTS:
    // D-Bus "aayay": raw item bytes as typed, and the launch's working folder.
    Q_SCRIPTABLE void Open(const QList<QByteArray>& items, const QByteArray& workingFolder);

Q_SIGNALS:
    // Absolute, standardized paths; empty for a launch without items.
    void itemsHandedOver(const std::vector<std::filesystem::path>& paths);

private:
    QDBusConnection m_bus;
    QString m_name;
    bool m_exported = false;
    bool m_owner = false;
};
