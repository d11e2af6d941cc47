#include "app/GeneralSettingsPage.h"

#include "core/Preferences.h"
#include "palette/FolderHistory.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

GeneralSettingsPage::GeneralSettingsPage(QWidget* parent)
    : QWidget(parent)
{
    auto* layout = new QVBoxLayout(this);
    Preferences& p = Preferences::shared();
    addSetting(
        QStringLiteral("隠しファイルを表示"), QStringLiteral("showHiddenFiles"),
        [&p] { return p.showHiddenFiles(); }, [&p](bool on) { p.setShowHiddenFiles(on); });
    addSetting(
        QStringLiteral("フォルダのサイズを計算"), QStringLiteral("calculateFolderSizes"),
        [&p] { return p.calculateFolderSizes(); },
        [&p](bool on) { p.setCalculateFolderSizes(on); });
    addSetting(
        QStringLiteral("もう一方のペインへのコピー・移動の前に確認"),
        QStringLiteral("confirmPaneTransfer"), [&p] { return p.confirmPaneTransfer(); },
        [&p](bool on) { p.setConfirmPaneTransfer(on); });
    addSetting(
        QStringLiteral("vi 風のキー操作（h j k l gg G）"), QStringLiteral("vimKeyBindings"),
        [&p] { return p.vimKeyBindings(); }, [&p](bool on) { p.setVimKeyBindings(on); });
    addSetting(
        QStringLiteral("起動時にアップデートを確認"), QStringLiteral("checkForUpdates"),
        [&p] { return p.checkForUpdates(); }, [&p](bool on) { p.setCheckForUpdates(on); });
    addSetting(
        QStringLiteral("フォルダをタグの色で表示"), QStringLiteral("colorFoldersByTag"),
        [&p] { return p.colorFoldersByTag(); }, [&p](bool on) { p.setColorFoldersByTag(on); });
    addSetting(
        QStringLiteral("タグをファイルの拡張属性（user.xdg.tags）にも書き込む"),
        QStringLiteral("mirrorTagsToExtendedAttributes"),
        [&p] { return p.mirrorTagsToAttributes(); },
        [&p](bool on) { p.setMirrorTagsToAttributes(on); });
    addHistoryButtons();
    layout->addStretch(1);
    // A menu or a dialog elsewhere may change the same keys while this page is open.
    connect(&p, &Preferences::changed, this, &GeneralSettingsPage::refresh);
}

void GeneralSettingsPage::addSetting(const QString& label, const QString& name,
                                     std::function<bool()> read, std::function<void(bool)> write)
{
    auto* box = new QCheckBox(label, this);
    box->setObjectName(name);
    box->setChecked(read());
    connect(box, &QCheckBox::toggled, this, [write = std::move(write)](bool on) { write(on); });
    layout()->addWidget(box);
    m_bindings.push_back({box, std::move(read)});
}

void GeneralSettingsPage::addHistoryButtons()
{
    auto* row = new QHBoxLayout;
    auto* clear = new QPushButton(QStringLiteral("履歴を消去"), this);
    clear->setObjectName(QStringLiteral("clearFolderHistory"));
    auto* prune = new QPushButton(QStringLiteral("存在しないフォルダを削除"), this);
    prune->setObjectName(QStringLiteral("removeMissingFolders"));
    connect(clear, &QPushButton::clicked, this, [] { FolderHistory::shared().clear(); });
    // The folders are tested off the main thread; the rows go when the answer is back.
    connect(prune, &QPushButton::clicked, this,
            [this] { FolderHistory::shared().removeMissingAsync(this); });
    row->addWidget(new QLabel(QStringLiteral("フォルダの履歴:"), this));
    row->addWidget(clear);
    row->addWidget(prune);
    row->addStretch(1);
    static_cast<QVBoxLayout*>(layout())->addLayout(row);
}

void GeneralSettingsPage::refresh()
{
    for (const Binding& binding : m_bindings) {
        const bool on = binding.read();
        if (binding.box->isChecked() != on)
            binding.box->setChecked(on);
    }
}
