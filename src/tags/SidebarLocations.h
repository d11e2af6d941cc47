#pragma once

#include "platform/VolumeSource.h"
#include "tags/SidebarItem.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <memory>

// What the locations section shows besides the view's own entries: the standard
// places (read once, at construction) and the mounted volumes, kept current.
class SidebarLocations : public QObject {
    Q_OBJECT
public:
    // `source` null: no volumes.
    explicit SidebarLocations(std::unique_ptr<VolumeSource> source, QObject* parent = nullptr);
    ~SidebarLocations() override;

    // Home, desktop, documents and downloads (xdg-user-dirs), then the root.
    const QList<SidebarItem>& places() const { return m_places; }
    const QList<SidebarItem>& volumes() const { return m_volumes; }

    void eject(const SidebarItem& volume);
    // Sets the places' missing flags by item id; true when one changed.
    bool applyMissing(const QHash<QString, bool>& missing);

Q_SIGNALS:
    void volumesChanged();
    void ejectFailed(const QString& message);

private:
    void refreshVolumes();

    std::unique_ptr<VolumeSource> m_source;
    QList<MountedVolume> m_mounted; // beside m_volumes, for eject()
    QList<SidebarItem> m_volumes;
    QList<SidebarItem> m_places;
};
