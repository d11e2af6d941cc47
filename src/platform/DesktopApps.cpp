#include "platform/DesktopApps.h"

#include "platform/DefaultApplication.h"

#include <QCollator>
#include <algorithm>
#include <fstream>
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>
#include <memory>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace DesktopApps {

namespace {

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using AppInfo = std::unique_ptr<GDesktopAppInfo, Unref>;

AppInfo lookUp(const QString& desktopId)
{
    if (desktopId.isEmpty())
        return {};
    QString id = desktopId;
    if (!id.endsWith(QLatin1String(".desktop")))
        id += QLatin1String(".desktop");
    return AppInfo(g_desktop_app_info_new(id.toUtf8().constData()));
}

Application describe(GAppInfo* app)
{
    Application described{QString::fromUtf8(g_app_info_get_id(app)),
                          QString::fromUtf8(g_app_info_get_display_name(app)),
                          {}};
    if (GIcon* icon = g_app_info_get_icon(app)) {
        gchar* text = g_icon_to_string(icon);
        described.icon = QString::fromUtf8(text);
        g_free(text);
    }
    return described;
}

// Opening a file from Quillo must never come back to Quillo.
bool isOurs(GAppInfo* app)
{
    const char* id = g_app_info_get_id(app);
    return !id || std::string_view(id) == DefaultApplication::kOwnDesktopId;
}

void addOnce(std::vector<Application>& apps, GAppInfo* app)
{
    if (!app || isOurs(app))
        return;
    const QString id = QString::fromUtf8(g_app_info_get_id(app));
    if (std::ranges::none_of(apps, [&id](const Application& a) { return a.id == id; }))
        apps.push_back(describe(app));
}

void addAll(std::vector<Application>& apps, GList* list)
{
    for (GList* item = list; item; item = item->next)
        addOnce(apps, G_APP_INFO(item->data));
    g_list_free_full(list, g_object_unref);
}

} // namespace

bool isInstalled(const QString& desktopId)
{
    return lookUp(desktopId) != nullptr;
}

std::optional<QString> displayName(const QString& desktopId)
{
    const AppInfo app = lookUp(desktopId);
    if (!app)
        return std::nullopt;
    return QString::fromUtf8(g_app_info_get_display_name(G_APP_INFO(app.get())));
}

std::vector<Application> allApplications()
{
    std::vector<Application> apps;
    GList* all = g_app_info_get_all();
    for (GList* item = all; item; item = item->next) {
        GAppInfo* app = G_APP_INFO(item->data);
        const char* id = g_app_info_get_id(app);
        if (id && g_app_info_should_show(app))
            apps.push_back(describe(app));
    }
    g_list_free_full(all, g_object_unref);
    QCollator collator;
    collator.setNumericMode(true);
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::ranges::sort(apps, [&collator](const Application& a, const Application& b) {
        const int order = collator.compare(a.name, b.name);
        return order != 0 ? order < 0 : a.id < b.id;
    });
    return apps;
}

std::vector<Application> applicationsFor(const QString& mimeType)
{
    const QByteArray type = mimeType.toUtf8();
    std::vector<Application> apps;
    if (GAppInfo* chosen = g_app_info_get_default_for_type(type.constData(), FALSE)) {
        addOnce(apps, chosen);
        g_object_unref(chosen);
    }
    addAll(apps, g_app_info_get_recommended_for_type(type.constData()));
    addAll(apps, g_app_info_get_all_for_type(type.constData()));
    return apps;
}

std::optional<QString> defaultFor(const QString& mimeType)
{
    GAppInfo* chosen = g_app_info_get_default_for_type(mimeType.toUtf8().constData(), FALSE);
    if (!chosen)
        return std::nullopt;
    const char* id = g_app_info_get_id(chosen);
    std::optional<QString> found;
    if (id)
        found = QString::fromUtf8(id);
    g_object_unref(chosen);
    return found;
}

std::optional<fs::path> executable(const QString& desktopId)
{
    const AppInfo app = lookUp(desktopId);
    const char* program = app ? g_app_info_get_executable(G_APP_INFO(app.get())) : nullptr;
    if (!program || !*program)
        return std::nullopt;
    if (program[0] == '/')
        return fs::path(program);
    gchar* found = g_find_program_in_path(program);
    if (!found)
        return std::nullopt;
    fs::path resolved(found);
    g_free(found);
    return resolved;
}

bool launch(const QString& desktopId, const std::vector<fs::path>& files)
{
    return open(desktopId, files).has_value();
}

std::expected<void, QString> open(const QString& desktopId, const std::vector<fs::path>& files)
{
    const AppInfo app = lookUp(desktopId);
    if (!app)
        return std::unexpected(
            QStringLiteral("アプリケーション「%1」が見つかりません。").arg(desktopId));
    GList* list = nullptr;
    for (const fs::path& file : files)
        list = g_list_prepend(list, g_file_new_for_path(file.c_str()));
    list = g_list_reverse(list);
    GError* error = nullptr;
    const bool ok = g_app_info_launch(G_APP_INFO(app.get()), list, nullptr, &error);
    g_list_free_full(list, g_object_unref);
    QString detail = error ? QString::fromUtf8(error->message) : QString();
    if (error)
        g_error_free(error);
    if (ok)
        return {};
    return std::unexpected(std::move(detail));
}

bool isRunning(const std::string& programName)
{
    return runningProcess(programName).has_value();
}

std::optional<int> runningProcess(const std::string& programName)
{
    std::error_code failure;
    const uid_t self = ::getuid();
    for (const auto& entry : fs::directory_iterator("/proc", failure)) {
        const std::string pid = entry.path().filename().native();
        if (pid.empty() || pid.find_first_not_of("0123456789") != std::string::npos)
            continue;
        std::error_code statFailure;
        if (fs::status(entry.path(), statFailure).type() != fs::file_type::directory)
            continue;
        // argv[0] is readable for every process, unlike exe, and keeps full names
        // that comm would cut at 15 bytes.
        std::ifstream cmdline(entry.path() / "cmdline", std::ios::binary);
        std::string first;
        std::getline(cmdline, first, '\0');
        if (first.empty() || fs::path(first).filename().native() != programName)
            continue;
        struct stat info {};
        if (::stat(entry.path().c_str(), &info) == 0 && info.st_uid == self)
            return std::stoi(pid);
    }
    return std::nullopt;
}

} // namespace DesktopApps
