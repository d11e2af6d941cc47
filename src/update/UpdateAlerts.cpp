#include "update/UpdateAlerts.h"

namespace UpdateAlerts {

namespace {

Alert acknowledged(Alert::Style style, const QString& title, const QString& text)
{
    Alert alert;
    alert.style = style;
    alert.message = title;
    alert.informativeText = text;
    alert.buttons = {QStringLiteral("OK")};
    alert.escapeButton = 0;
    return alert;
}

} // namespace

Alert available(const ReleaseInfo& release, const QString& current, bool canInstallInPlace)
{
    Alert alert;
    alert.style = Alert::Style::informational;
    alert.message = QStringLiteral("新しいバージョンの Quillo があります");
    alert.informativeText =
        QStringLiteral("Quillo ") + release.version +
        QStringLiteral(" を公開しました（お使いの版は ") + current +
        (canInstallInPlace
             ? QStringLiteral("）。\n「今すぐ更新」で新しい版をダウンロードして入れ替え、Quillo "
                              "を開き直します。設定・タグ・履歴はそのまま残ります。")
             : QStringLiteral(
                   "）。\nダウンロードしたアーカイブを展開し、Quillo "
                   "のフォルダを入れ替えてください。設定・タグ・履歴はそのまま残ります。"));
    alert.buttons = {canInstallInPlace ? QStringLiteral("今すぐ更新")
                                       : QStringLiteral("ダウンロード"),
                     QStringLiteral("あとで"), QStringLiteral("このバージョンをスキップ")};
    alert.escapeButton = laterButton;
    return alert;
}

Alert upToDate(const QString& current)
{
    return acknowledged(Alert::Style::informational, QStringLiteral("Quillo は最新です"),
                        QStringLiteral("お使いの ") + current +
                            QStringLiteral(" が最新の版です。"));
}

Alert failed(const QString& message)
{
    return acknowledged(Alert::Style::warning, QStringLiteral("アップデートを確認できませんでした"),
                        message +
                            QStringLiteral("。ネットにつながっているか確かめて、あとでもう一度"
                                           "お試しください。"));
}

Alert browserOffer(const QString& description)
{
    Alert alert;
    alert.style = Alert::Style::warning;
    alert.message = QStringLiteral("自動では更新できませんでした");
    alert.informativeText =
        description + QStringLiteral("\nブラウザからアーカイブをダウンロードして、"
                                     "Quillo のフォルダを入れ替えてください。");
    alert.buttons = {QStringLiteral("ブラウザでダウンロード"), QStringLiteral("閉じる")};
    alert.escapeButton = 1;
    return alert;
}

} // namespace UpdateAlerts
