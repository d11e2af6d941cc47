#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

// One mounted volume as the sidebar lists it.
struct MountedVolume {
    std::filesystem::path root; // byte-exact mount point
    QString name;
    QString iconName; // a freedesktop icon name
    bool canEject = false;
    bool canUnmount = false;
    // Whatever the source needs to unmount this volume later; opaque to everyone else.
    std::shared_ptr<void> handle;

    // The handle is left out: two reads of the same volume are equal.
    bool operator==(const MountedVolume& other) const
    {
        return root == other.root && name == other.name && iconName == other.iconName &&
               canEject == other.canEject && canUnmount == other.canUnmount;
    }
};

// The mounted volumes of the desktop, and their removal. Main thread only.
class VolumeSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    // Called with nullopt on success, else with the reason as text.
    using Completion = std::function<void(const std::optional<QString>& error)>;

    virtual QList<MountedVolume> volumes() const = 0;
    // Ejects the volume when it can be ejected, else unmounts it. `done` runs later on
    // the main thread, and not at all once the source is gone.
    virtual void eject(const MountedVolume& volume, Completion done) = 0;

Q_SIGNALS:
    // A volume was mounted, unmounted or renamed.
    void changed();
};
