#include "platform/UserFolders.h"

#include <algorithm>
#include <glib.h>

namespace fs = std::filesystem;

namespace UserFolders {

namespace {

// Lexical only, so that "$HOME/" and "$HOME" compare equal; links are not followed.
fs::path tidy(const char* text)
{
    fs::path path = fs::path(text).lexically_normal();
    if (!path.has_filename() && path.has_relative_path())
        path = path.parent_path();
    return path;
}

} // namespace

std::vector<Folder> standard()
{
    // The settings file may have changed since the last look (xdg-user-dirs-update).
    g_reload_user_special_dirs_cache();
    std::vector<Folder> folders;
    const auto add = [&](Kind kind, const char* text) {
        if (!text || !*text)
            return;
        fs::path path = tidy(text);
        if (!path.is_absolute())
            return;
        const bool listed =
            std::ranges::any_of(folders, [&](const Folder& folder) { return folder.path == path; });
        if (!listed)
            folders.push_back({kind, std::move(path)});
    };
    add(Kind::home, g_get_home_dir());
    add(Kind::desktop, g_get_user_special_dir(G_USER_DIRECTORY_DESKTOP));
    add(Kind::documents, g_get_user_special_dir(G_USER_DIRECTORY_DOCUMENTS));
    add(Kind::downloads, g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD));
    return folders;
}

} // namespace UserFolders
