#pragma once

#include "platform/VolumeSource.h"

// Volumes as a test sets them; an eject reports `failure` on the next turn of the event loop.
class FakeVolumes : public VolumeSource {
public:
    QList<MountedVolume> list;
    std::optional<QString> failure;
    QList<std::filesystem::path> ejected;

    QList<MountedVolume> volumes() const override { return list; }
    void eject(const MountedVolume& volume, Completion done) override
    {
        ejected.append(volume.root);
        QMetaObject::invokeMethod(
            this, [done, result = failure] { done(result); }, Qt::QueuedConnection);
    }
    void set(QList<MountedVolume> volumes)
    {
        list = std::move(volumes);
        Q_EMIT changed();
    }
};
