#include "files/PaneError.h"

#include "core/PathText.h"

#include <cerrno>

PaneError paneError(const Error& error, const std::filesystem::path& folder)
{
    const QString name = PathText::displayName(PathText::standardized(folder));
    const QString start = QStringLiteral("「") + name;
    switch (error.code) {
    case EACCES:
        // On Linux only the mode bits refuse a read, so there is no settings page to offer.
        return {start + QStringLiteral("」を開くアクセス権がありません。\n"
                                       "このフォルダは所有者以外が読めない設定になっています。"),
                false};
    case ENOENT:
    case ENOTDIR:
        return {start + QStringLiteral("」が見つかりません。"), false};
    default:
        return {start + QStringLiteral("」を開けませんでした。\n") + error.description(), false};
    }
}
