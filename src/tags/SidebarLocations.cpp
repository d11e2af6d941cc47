#include "tags/SidebarLocations.h"

#include "platform/UserFolders.h"

#include <algorithm>

namespace fs = std::filesystem;

namespace {

SidebarItem place(UserFolders::Kind kind, const fs::path& path)
{
    struct Look {
        QString name, icon;
    };
    static const QHash<UserFolders::Kind, Look> looks{
        {UserFolders::Kind::home, {QStringLiteral("ホーム"), QStringLiteral("user-home")}},
        {UserFolders::Kind::desktop,
         {QStringLiteral("デスクトップ"), QStringLiteral("user-desktop")}},
        {UserFolders::Kind::documents,
         {QStringLiteral("ドキュメント"), QStringLiteral("folder-documents")}},
        {UserFolders::Kind::downloads,
         {QStringLiteral("ダウンロード"), QStringLiteral("folder-download")}},
    };
    const Look look = looks.value(kind);
    SidebarItem item = SidebarItem::folder(path, look.name);
    item.symbol = look.icon;
    return item;
}

QList<SidebarItem> standardPlaces()
{
    QList<SidebarItem> places;
    for (const UserFolders::Folder& folder : UserFolders::standard())
        places.append(place(folder.kind, folder.path));
    SidebarItem root = SidebarItem::folder("/", QStringLiteral("ルート"));
    root.symbol = QStringLiteral("drive-harddisk");
    if (std::ranges::none_of(places,
                             [&](const SidebarItem& item) { return item.id() == root.id(); }))
        places.append(root);
    return places;
}

} // namespace

SidebarLocations::SidebarLocations(std::unique_ptr<VolumeSource> source, QObject* parent)
    : QObject(parent)
    , m_source(std::move(source))
    , m_places(standardPlaces())
{
    if (m_source) {
        connect(m_source.get(), &VolumeSource::changed, this, &SidebarLocations::refreshVolumes);
        refreshVolumes();
    }
}

SidebarLocations::~SidebarLocations() = default;

void SidebarLocations::refreshVolumes()
{
    m_mounted = m_source->volumes();
    QList<SidebarItem> volumes;
    for (const MountedVolume& mounted : std::as_const(m_mounted)) {
        SidebarItem item = SidebarItem::folder(mounted.root, mounted.name);
        item.symbol =
            mounted.iconName.isEmpty() ? QStringLiteral("drive-harddisk") : mounted.iconName;
        item.isEjectable = mounted.canEject || mounted.canUnmount;
        volumes.append(std::move(item));
    }
    if (volumes == m_volumes)
        return;
    m_volumes = volumes;
    Q_EMIT volumesChanged();
}

void SidebarLocations::eject(const SidebarItem& volume)
{
    const auto mounted = std::ranges::find_if(m_mounted, [&](const MountedVolume& m) {
        return SidebarItem::folder(m.root).id() == volume.id();
    });
    // Gone already (unmounted elsewhere): nothing left to do.
    if (mounted == m_mounted.end())
        return;
    const QString name = volume.displayName();
    m_source->eject(*mounted, [this, name](const std::optional<QString>& error) {
        if (!error)
            return;
        QString message =
            QStringLiteral("「") + name + QStringLiteral("」を取り出せませんでした。");
        if (!error->isEmpty())
            message += QLatin1Char('\n') + *error;
        Q_EMIT ejectFailed(message);
    });
}

bool SidebarLocations::applyMissing(const QHash<QString, bool>& missing)
{
    bool changed = false;
    for (SidebarItem& item : m_places) {
        const auto it = missing.find(item.id());
        if (it != missing.end() && item.isMissing != *it) {
            item.isMissing = *it;
            changed = true;
        }
    }
    return changed;
}
