#pragma once

#include <QString>
#include <expected>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// Installed desktop applications, found by their desktop ids through GIO.
// An id may be given with or without its ".desktop" suffix.
namespace DesktopApps {

bool isInstalled(const QString& desktopId);

// The application's name as the desktop shows it.
std::optional<QString> displayName(const QString& desktopId);

struct Application {
    QString id; // with its ".desktop" suffix, as the desktop gives it
    QString name;
    QString icon; // a theme icon name or an absolute file, empty for none
    bool operator==(const Application&) const = default;
};

// Every application the desktop lists in its menus, sorted by name. Reads every
// desktop entry: once per need, not per keystroke.
std::vector<Application> allApplications();

// The applications registered for a MIME type, without Quillo itself: the default
// first, then the recommended ones, then the others that take the type.
std::vector<Application> applicationsFor(const QString& mimeType);

// The desktop id of the type's default application, if one is set or implied.
std::optional<QString> defaultFor(const QString& mimeType);

// The program the desktop entry runs, resolved on PATH.
std::optional<std::filesystem::path> executable(const QString& desktopId);

// Starts the application with the files, handed over by their raw path bytes.
bool launch(const QString& desktopId, const std::vector<std::filesystem::path>& files);
// The same, giving the desktop's own description of a failure.
std::expected<void, QString> open(const QString& desktopId,
                                  const std::vector<std::filesystem::path>& files);

// A process of the current user whose program has this file name runs.
bool isRunning(const std::string& programName);

// The process id of such a process, if one runs.
std::optional<int> runningProcess(const std::string& programName);

} // namespace DesktopApps
