#include "files/PaneError.h"

#include <cerrno>
#include <gtest/gtest.h>

TEST(PaneErrorTest, MessagesByCause)
{
    struct Case {
        int code;
        const char* folder;
        const char* message;
    };
    const Case cases[] = {
        {EACCES, "/home/u/秘密",
         "「秘密」を開くアクセス権がありません。\n"
         "このフォルダは所有者以外が読めない設定になっています。"},
        {ENOENT, "/tmp/gone/", "「gone」が見つかりません。"},
        {ENOTDIR, "/tmp/file.txt", "「file.txt」が見つかりません。"},
        {EIO, "/", "「/」を開けませんでした。\n入出力エラーが発生しました。"},
        {EACCES, "/",
         "「/」を開くアクセス権がありません。\n"
         "このフォルダは所有者以外が読めない設定になっています。"},
    };
    for (const Case& c : cases) {
        const PaneError error = paneError(Error::fromErrno(c.code, c.folder), c.folder);
        EXPECT_EQ(error.message, QString::fromUtf8(c.message)) << c.folder;
        // Mode bits are the only refusal on Linux: there is no settings page to offer.
        EXPECT_FALSE(error.needsPermission) << c.folder;
    }
}

TEST(PaneErrorTest, UnknownCodesUseTheSystemDescription)
{
    const Error error = Error::fromErrno(EPROTO, "/srv/share");
    const PaneError pane = paneError(error, "/srv/share");
    EXPECT_EQ(pane.message,
              QStringLiteral("「share」を開けませんでした。\n") + error.description());
    EXPECT_FALSE(error.description().isEmpty());
}

TEST(PaneErrorTest, InvalidBytesInTheNameAreShownAsReplacementCharacters)
{
    const PaneError error = paneError(Error::fromErrno(ENOENT), "/tmp/bad\xff");
    EXPECT_EQ(error.message, QStringLiteral("「bad\uFFFD」が見つかりません。"));
}
