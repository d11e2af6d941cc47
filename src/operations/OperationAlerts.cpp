#include "operations/OperationAlerts.h"

#include "core/PathText.h"
#include "operations/FileOperationManager.h"

namespace OperationAlerts {

namespace {

QString quoted(const QString& name)
{
    return QStringLiteral("「") + name + QStringLiteral("」");
}

Alert failure(const QString& text, const Error& error)
{
    Alert alert;
    alert.style = Alert::Style::critical;
    alert.message = text;
    alert.informativeText = error.description();
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

} // namespace

QString verb(TransferMode mode)
{
    return mode == TransferMode::copy ? QStringLiteral("コピー") : QStringLiteral("移動");
}

Alert confirmTransfer(int count, const std::filesystem::path& destination, TransferMode mode)
{
    Alert alert;
    alert.style = Alert::Style::informational;
    alert.message =
        QString::number(count) + QStringLiteral(" 項目を") + verb(mode) + QStringLiteral("します");
    alert.informativeText =
        verb(mode) + QStringLiteral("先: ") + PathText::abbreviated(destination);
    alert.buttons = {verb(mode), QStringLiteral("キャンセル")};
    alert.escapeButton = 1;
    alert.suppressionTitle = QStringLiteral("今後は確認しない");
    return alert;
}

Alert insideItself(const QString& name, TransferMode mode)
{
    return message(quoted(name) + QStringLiteral("をその中に") + verb(mode) +
                   QStringLiteral("することはできません。"));
}

Alert conflict(const QString& name, int remaining)
{
    Alert alert;
    alert.message = quoted(name) + QStringLiteral("という名前の項目がすでにこの場所にあります。");
    alert.informativeText = QStringLiteral("置き換えると、元の項目はゴミ箱に移動します。");
    alert.buttons = {QStringLiteral("両方残す"), QStringLiteral("置き換える"),
                     QStringLiteral("スキップ"), QStringLiteral("中止")};
    alert.escapeButton = 3;
    if (remaining >= 2)
        alert.suppressionTitle = QStringLiteral("残りのすべてに適用");
    return alert;
}

Alert containsSource(const QString& name)
{
    return message(quoted(name) + QStringLiteral("は元を含んでいるため置き換えできません。"));
}

Alert transferFailed(const QString& name, TransferMode mode, const Error& error, bool noTrash)
{
    Alert alert = failure(quoted(name) + QStringLiteral("を") + verb(mode) +
                              QStringLiteral("できませんでした。"),
                          error);
    // A replacement needs the old item in the Trash; without one it stays.
    if (noTrash)
        alert.informativeText =
            QStringLiteral("この場所ではゴミ箱が使えないため、元の項目を置き換えられません。");
    return alert;
}

Alert changedSinceShown(const QString& name)
{
    return message(quoted(name) + QStringLiteral("は変更されたため、処理しませんでした。"));
}

Alert confirmDeletion(const std::vector<std::filesystem::path>& paths)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message = paths.size() == 1 ? quoted(PathText::displayName(paths.front())) +
                                            QStringLiteral("をすぐに削除しますか？")
                                      : QString::number(paths.size()) +
                                            QStringLiteral(" 項目をすぐに削除しますか？");
    alert.informativeText =
        QStringLiteral("ゴミ箱を使わずに削除します。この操作は取り消せません。");
    alert.buttons = {QStringLiteral("削除"), QStringLiteral("キャンセル")};
    alert.defaultButton = 1;
    alert.escapeButton = 1;
    alert.destructiveButton = 0;
    return alert;
}

Alert confirmDeletionWithoutTrash(const QString& name)
{
    Alert alert = confirmDeletion({});
    alert.message = QStringLiteral("ゴミ箱が使えないため、") + quoted(name) +
                    QStringLiteral("はすぐに削除されます。よろしいですか？");
    return alert;
}

Alert deletionFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("を削除できませんでした。"), error);
}

Alert trashFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("をゴミ箱に入れることができませんでした。"),
                   error);
}

Alert message(const QString& text)
{
    Alert alert;
    alert.message = text;
    alert.buttons = {QStringLiteral("OK")};
    return alert;
}

Alert nameTaken(const QString& newName)
{
    return message(quoted(newName) +
                   QStringLiteral("という名前はすでに使われています。別の名前を選んでください。"));
}

Alert renameFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("の名前を変更できませんでした。"), error);
}

Alert creationFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("を作成できませんでした。"), error);
}

Alert undoFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("を元に戻せませんでした。"), error);
}

Alert redoFailed(const QString& name, const Error& error)
{
    return failure(quoted(name) + QStringLiteral("をやり直せませんでした。"), error);
}

void presentInOrder(std::shared_ptr<Prompter> prompter, std::vector<Alert> alerts,
                    std::function<void()> done)
{
    if (!prompter || alerts.empty()) {
        if (done)
            done();
        return;
    }
    const Alert first = alerts.front();
    alerts.erase(alerts.begin());
    prompter->present(first, [prompter, alerts = std::move(alerts),
                              done = std::move(done)](Alert::Response) mutable {
        presentInOrder(std::move(prompter), std::move(alerts), std::move(done));
    });
}

} // namespace OperationAlerts
