#include "platform/DefaultApplication.h"

#include <gio/gio.h>

namespace DefaultApplication {

std::expected<void, OpenFailure> open(const std::filesystem::path& path)
{
    // g_file_new_for_path takes the raw bytes, so names that are not UTF-8 survive.
    GFile* file = g_file_new_for_path(path.c_str());
    char* uri = g_file_get_uri(file);
    GError* error = nullptr;
    const gboolean ok = g_app_info_launch_default_for_uri(uri, nullptr, &error);
    g_free(uri);
    g_object_unref(file);
    if (ok)
        return {};
    OpenFailure failure;
    if (error) {
        failure.noApplication =
            error->domain == G_IO_ERROR && error->code == G_IO_ERROR_NOT_SUPPORTED;
        failure.detail = QString::fromUtf8(error->message);
        g_error_free(error);
    }
    return std::unexpected(failure);
}

} // namespace DefaultApplication
