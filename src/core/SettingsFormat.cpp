#include "core/SettingsFormat.h"

#include "core/IniText.h"
#include "platform/AtomicFile.h"
#include "platform/DirectoryScanner.h"

#include <QDebug>
#include <QFileDevice>
#include <filesystem>

namespace fs = std::filesystem;

namespace {

fs::path fileOf(QIODevice& device)
{
    const auto* file = qobject_cast<QFileDevice*>(&device);
    return file ? fs::path(file->fileName().toStdString()) : fs::path();
}

// Copied, not moved: the readable keys stay in use until the next write replaces the file.
void setAside(const fs::path& file, QByteArrayView bytes, int damagedLines)
{
    const std::string stamp = AtomicFile::corruptSuffix();
    fs::path copy;
    for (int attempt = 1; attempt <= 100; ++attempt) {
        copy = file;
        copy += attempt == 1 ? stamp : stamp + "-" + std::to_string(attempt);
        if (!DirectoryScanner::exists(copy))
            break;
    }
    const auto written =
        AtomicFile::write(copy, std::string_view(bytes.data(), size_t(bytes.size())));
    if (written)
        qWarning().noquote() << "settings file" << QString::fromStdString(file.native()) << "has"
                             << damagedLines << "unreadable lines; kept as"
                             << QString::fromStdString(copy.native());
    else
        qWarning().noquote() << "settings file" << QString::fromStdString(file.native())
                             << "has unreadable lines and could not be kept:"
                             << written.error().description();
}

bool readSettings(QIODevice& device, QSettings::SettingsMap& map)
{
    const QByteArray bytes = device.readAll();
    IniText::Reading reading = IniText::parse(bytes);
    if (reading.damagedLines > 0)
        setAside(fileOf(device), bytes, reading.damagedLines);
    map = std::move(reading.values);
    return true; // what could be read is used
}

bool writeSettings(QIODevice& device, const QSettings::SettingsMap& map)
{
    if (auto* observe = SettingsFormat::writeObserver.load())
        observe();
    const QByteArray bytes = IniText::encode(map);
    const fs::path file = fileOf(device);
    if (const auto written = AtomicFile::write(file, bytes.toStdString()); !written) {
        qWarning().noquote() << "settings could not be saved:" << written.error().description();
        return false;
    }
    // QSettings renames its own copy of the same bytes over ours afterwards; ours is
    // the one whose sync was checked and whose folder was synced.
    return device.write(bytes) == bytes.size();
}

} // namespace

namespace SettingsFormat {

QSettings::Format format()
{
    static const QSettings::Format registered =
        QSettings::registerFormat(QStringLiteral("conf"), readSettings, writeSettings);
    return registered;
}

} // namespace SettingsFormat
