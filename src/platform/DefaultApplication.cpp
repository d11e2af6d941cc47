#include "platform/DefaultApplication.h"

#include <gio/gio.h>

namespace DefaultApplication {

namespace {

bool isOurs(GAppInfo* app)
{
    const char* id = g_app_info_get_id(app);
    return id && std::string_view(id) == kOwnDesktopId;
}

// The default for the type, or when that is Quillo itself (the user made it the
// default for previews), the next application registered for the type: opening a
// file from Quillo must never come back to Quillo.
GAppInfo* handlerFor(const char* contentType)
{
    GAppInfo* chosen = g_app_info_get_default_for_type(contentType, FALSE);
    if (chosen && !isOurs(chosen))
        return chosen;
    if (chosen)
        g_object_unref(chosen);
    chosen = nullptr;
    GList* all = g_app_info_get_recommended_for_type(contentType);
    for (GList* item = all; item && !chosen; item = item->next) {
        auto* app = G_APP_INFO(item->data);
        if (!isOurs(app))
            chosen = G_APP_INFO(g_object_ref(app));
    }
    g_list_free_full(all, g_object_unref);
    return chosen;
}

OpenFailure failureFrom(GError* error)
{
    OpenFailure failure;
    if (error) {
        failure.noApplication =
            error->domain == G_IO_ERROR && error->code == G_IO_ERROR_NOT_SUPPORTED;
        failure.detail = QString::fromUtf8(error->message);
        g_error_free(error);
    }
    return failure;
}

} // namespace

std::expected<void, OpenFailure> open(const std::filesystem::path& path)
{
    // g_file_new_for_path takes the raw bytes, so names that are not UTF-8 survive.
    GFile* file = g_file_new_for_path(path.c_str());
    GError* error = nullptr;
    GFileInfo* info = g_file_query_info(file, G_FILE_ATTRIBUTE_STANDARD_CONTENT_TYPE,
                                        G_FILE_QUERY_INFO_NONE, nullptr, &error);
    GAppInfo* app = nullptr;
    if (info) {
        if (const char* type = g_file_info_get_content_type(info))
            app = handlerFor(type);
        g_object_unref(info);
    }
    bool ok = false;
    if (app) {
        GList uris{file, nullptr, nullptr};
        ok = g_app_info_launch(app, &uris, nullptr, &error);
        g_object_unref(app);
    } else if (!error) {
        g_set_error_literal(&error, G_IO_ERROR, G_IO_ERROR_NOT_SUPPORTED,
                            "No application is registered for this type");
    }
    g_object_unref(file);
    if (ok)
        return {};
    return std::unexpected(failureFrom(error));
}

} // namespace DefaultApplication
