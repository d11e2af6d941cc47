#include "platform/GioVolumeSource.h"

#include <QPointer>
#include <gio/gio.h>

namespace {

QString iconName(GMount* mount)
{
    GIcon* icon = g_mount_get_icon(mount);
    QString name;
    if (icon && G_IS_THEMED_ICON(icon)) {
        const gchar* const* names = g_themed_icon_get_names(G_THEMED_ICON(icon));
        if (names && names[0])
            name = QString::fromUtf8(names[0]);
    }
    if (icon)
        g_object_unref(icon);
    return name.isEmpty() ? QStringLiteral("drive-harddisk") : name;
}

// Nullopt for a mount the sidebar cannot browse (no local path) or should not show.
std::optional<MountedVolume> volumeOf(GMount* mount)
{
    if (g_mount_is_shadowed(mount))
        return std::nullopt;
    GFile* root = g_mount_get_root(mount);
    char* path = root ? g_file_get_path(root) : nullptr;
    if (root)
        g_object_unref(root);
    if (!path)
        return std::nullopt;
    MountedVolume volume;
    volume.root = std::filesystem::path(path);
    g_free(path);
    char* name = g_mount_get_name(mount);
    volume.name = QString::fromUtf8(name ? name : "");
    g_free(name);
    if (volume.name.isEmpty())
        volume.name = QString::fromStdString(volume.root.filename().string());
    volume.iconName = iconName(mount);
    volume.canEject = g_mount_can_eject(mount);
    volume.canUnmount = g_mount_can_unmount(mount);
    volume.handle = std::shared_ptr<void>(g_object_ref(mount), g_object_unref);
    return volume;
}

struct PendingEject {
    QPointer<GioVolumeSource> source;
    VolumeSource::Completion done;
    bool ejecting = false;
};

void ejectFinished(GObject* object, GAsyncResult* result, gpointer data)
{
    std::unique_ptr<PendingEject> pending(static_cast<PendingEject*>(data));
    GError* error = nullptr;
    const gboolean ok =
        pending->ejecting ? g_mount_eject_with_operation_finish(G_MOUNT(object), result, &error)
                          : g_mount_unmount_with_operation_finish(G_MOUNT(object), result, &error);
    std::optional<QString> failure;
    // FAILED_HANDLED: someone already told the user; saying it again helps nobody.
    if (!ok && !g_error_matches(error, G_IO_ERROR, G_IO_ERROR_FAILED_HANDLED))
        failure = error ? QString::fromUtf8(error->message) : QString();
    g_clear_error(&error);
    if (pending->source && pending->done)
        pending->done(failure);
}

} // namespace

GioVolumeSource::GioVolumeSource(QObject* parent)
    : VolumeSource(parent)
    , m_monitor(g_volume_monitor_get())
{
    for (const char* signal : {"mount-added", "mount-removed", "mount-changed"})
        g_signal_connect(m_monitor, signal, G_CALLBACK(onMountEvent), this);
    reread();
}

GioVolumeSource::~GioVolumeSource()
{
    g_signal_handlers_disconnect_by_data(m_monitor, this);
    g_object_unref(m_monitor);
}

void GioVolumeSource::onMountEvent(GVolumeMonitor*, GMount*, void* self)
{
    static_cast<GioVolumeSource*>(self)->reread();
}

void GioVolumeSource::reread()
{
    QList<MountedVolume> volumes;
    GList* mounts = g_volume_monitor_get_mounts(m_monitor);
    for (GList* it = mounts; it; it = it->next) {
        if (std::optional<MountedVolume> volume = volumeOf(G_MOUNT(it->data)))
            volumes.append(std::move(*volume));
    }
    g_list_free_full(mounts, g_object_unref);
    // Keep the fresh handles either way; announce only what people can see.
    const bool same = volumes == m_volumes;
    m_volumes = std::move(volumes);
    if (!same)
        Q_EMIT changed();
}

void GioVolumeSource::eject(const MountedVolume& volume, Completion done)
{
    auto* mount = static_cast<GMount*>(volume.handle.get());
    if (!mount) {
        if (done)
            done(QStringLiteral("このボリュームはもう接続されていません。"));
        return;
    }
    const bool ejecting = g_mount_can_eject(mount);
    auto* pending = new PendingEject{this, std::move(done), ejecting};
    // No mount operation: nothing here may put up a dialog of its own.
    if (ejecting)
        g_mount_eject_with_operation(mount, G_MOUNT_UNMOUNT_NONE, nullptr, nullptr, ejectFinished,
                                     pending);
    else
        g_mount_unmount_with_operation(mount, G_MOUNT_UNMOUNT_NONE, nullptr, nullptr, ejectFinished,
                                       pending);
}
