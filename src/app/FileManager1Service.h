#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <filesystem>
#include <vector>

// org.freedesktop.FileManager1 at /org/freedesktop/FileManager1: what browsers,
// editors and portals call for "show in folder". URIs become raw path bytes.
class FileManager1Service : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.FileManager1")
public:
    static constexpr const char* kName = "org.freedesktop.FileManager1";
    static constexpr const char* kPath = "/org/freedesktop/FileManager1";

    explicit FileManager1Service(QDBusConnection bus, QObject* parent = nullptr);
    ~FileManager1Service() override;

    // Exports the object, then asks for `name` without queueing; false when another
    // file manager already serves it (the object then stays unexported).
    bool serve(const QString& name = QLatin1String(kName));

    // The local paths among the URIs, in order; plain absolute paths are accepted too.
    static std::vector<std::filesystem::path> pathsOf(const QStringList& uris);

public Q_SLOTS:
    Q_SCRIPTABLE void ShowFolders(const QStringList& uris, const QString& startupId);
    Q_SCRIPTABLE void ShowItems(const QStringList& uris, const QString& startupId);
    Q_SCRIPTABLE void ShowItemProperties(const QStringList& uris, const QString& startupId);

Q_SIGNALS:
    void foldersRequested(const std::vector<std::filesystem::path>& folders);
    void itemsRequested(const std::vector<std::filesystem::path>& items);
    // 情報を見る for the items.
    void propertiesRequested(const std::vector<std::filesystem::path>& items);

private:
    QDBusConnection m_bus;
    QString m_name;
    bool m_exported = false;
};
