#include "files/PaneError.h"

#include <cerrno>
#include <gtest/gtest.h>

TEST(PaneErrorTest, MessagesByCause)
{
    const QString denied = QStringLiteral("を開くアクセス権がありません。\n"
                                          "このフォルダは所有者以外が読めない設定になっています。");
    const Error unknown = Error::fromErrno(EPROTO, "/srv/share");
    ASSERT_FALSE(unknown.description().isEmpty());
    struct Case {
        int code;
        const char* folder;
        QString message;
    };
    const Case cases[] = {
        {EACCES, "/home/u/秘密", "「秘密」" + denied},
        {EACCES, "/", "「/」" + denied},
        {ENOENT, "/tmp/gone/", "「gone」が見つかりません。"},
        {ENOENT, "/tmp/bad\xff", "「bad\uFFFD」が見つかりません。"},
        {ENOTDIR, "/tmp/file.txt", "「file.txt」が見つかりません。"},
        {EIO, "/", "「/」を開けませんでした。\n入出力エラーが発生しました。"},
        // Codes without a message of their own use the system's description.
        {EPROTO, "/srv/share", "「share」を開けませんでした。\n" + unknown.description()},
    };
    for (const Case& c : cases) {
        const PaneError error = paneError(Error::fromErrno(c.code, c.folder), c.folder);
        EXPECT_EQ(error.message, c.message) << c.folder;
        // Mode bits are the only refusal on Linux: there is no settings page to offer.
        EXPECT_FALSE(error.needsPermission) << c.folder;
    }
}
