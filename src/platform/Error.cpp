#include "platform/Error.h"

#include <cerrno>
#include <cstring>

namespace {

struct ErrnoText {
    int code;
    const char* text;
};

// The codes people meet in a file manager; anything else falls back to strerror.
constexpr ErrnoText kTexts[] = {
    {EACCES, "アクセス権がありません。"},
    {EPERM, "この操作は許可されていません。"},
    {ENOENT, "ファイルまたはフォルダが見つかりません。"},
    {ENOTDIR, "フォルダではありません。"},
    {EISDIR, "フォルダです。"},
    {EEXIST, "同じ名前の項目がすでにあります。"},
    {ENOSPC, "ディスクの空き容量が足りません。"},
    {EDQUOT, "ディスクの使用量の上限に達しました。"},
    {EROFS, "読み出し専用のファイルシステムです。"},
    {ENAMETOOLONG, "名前が長すぎます。"},
    {ELOOP, "シンボリックリンクの階層が深すぎます。"},
    {ENOTEMPTY, "フォルダが空ではありません。"},
    {EBUSY, "使用中です。"},
    {EIO, "入出力エラーが発生しました。"},
    {EXDEV, "別のボリュームへは移動できません。"},
    {EMFILE, "開いているファイルが多すぎます。"},
    {ENOMEM, "メモリが足りません。"},
    {EINVAL, "引数が正しくありません。"},
    {ETIMEDOUT, "接続がタイムアウトしました。"},
    {ESTALE, "ファイルハンドルが古くなっています。"},
};

} // namespace

QString Error::description() const
{
    if (cancelled)
        return QStringLiteral("操作はキャンセルされました。");
    for (const auto& t : kTexts) {
        if (t.code == code)
            return QString::fromUtf8(t.text);
    }
    return QString::fromLocal8Bit(std::strerror(code));
}
