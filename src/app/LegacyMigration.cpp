#include "app/LegacyMigration.h"

#include "platform/DirectoryScanner.h"
#include "platform/FileCopier.h"

#include <QStandardPaths>

namespace fs = std::filesystem;

namespace {

void copySettings(QSettings& standard)
{
    const QString file = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                         QStringLiteral("/Tarv/Tarv.conf");
    const QSettings tarv(file, QSettings::IniFormat);
    for (const QString& key : tarv.allKeys()) {
        QString renamed = key;
        renamed.replace(QStringLiteral("tarv."), QStringLiteral("quillo."));
        // What the user already set in Quillo wins.
        if (!standard.contains(renamed))
            standard.setValue(renamed, tarv.value(key));
    }
}

void moveDataFolder(const fs::path& dataHome)
{
    const fs::path from = dataHome / "tarv";
    const fs::path to = dataHome / "Quillo";
    if (!DirectoryScanner::isDirectory(from) || DirectoryScanner::exists(to))
        return;
    // A failed move leaves Tarv's data where it was; nothing to report.
    (void)FileCopier::renameNoReplace(from, to);
}

} // namespace

void LegacyMigration::runIfNeeded(QSettings& standard, const fs::path& dataHome)
{
    if (standard.value(QLatin1String(kDoneKey), false).toBool())
        return;
    copySettings(standard);
    moveDataFolder(dataHome);
    standard.setValue(QLatin1String(kDoneKey), true);
    standard.sync();
}
