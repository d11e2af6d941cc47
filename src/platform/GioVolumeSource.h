#pragma once

#include "platform/VolumeSource.h"

// GLib stays out of the layers above: only a forward declaration here.
struct _GVolumeMonitor;
struct _GMount;

// The desktop's volumes through GIO's volume monitor: the user-visible mounts that
// have a local path, without shadowed ones. GIO's signals and completions arrive on
// the main thread, since Qt's event loop runs GLib's default main context.
class GioVolumeSource : public VolumeSource {
    Q_OBJECT
public:
    explicit GioVolumeSource(QObject* parent = nullptr);
    ~GioVolumeSource() override;

    QList<MountedVolume> volumes() const override { return m_volumes; }
    void eject(const MountedVolume& volume, Completion done) override;

private:
    static void onMountEvent(_GVolumeMonitor* monitor, _GMount* mount, void* self);
    void reread();

    _GVolumeMonitor* m_monitor = nullptr;
    QList<MountedVolume> m_volumes;
};
