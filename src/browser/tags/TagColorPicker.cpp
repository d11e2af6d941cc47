#include "browser/tags/TagColorPicker.h"

#include "browser/pane/IconCache.h"
#include "tags/Tag.h"

#include <QColorDialog>
#include <QMenu>
#include <QPointer>

namespace {

const QString kOtherColor = QStringLiteral("その他の色…");

} // namespace

const QList<TagColorPicker::Preset>& TagColorPicker::presets()
{
    static const QList<Preset> list = {
        {QStringLiteral("赤"), QStringLiteral("#FF453A")},
        {QStringLiteral("オレンジ"), QStringLiteral("#FF9F0A")},
        {QStringLiteral("黄"), QStringLiteral("#FFD60A")},
        {QStringLiteral("緑"), QStringLiteral("#32D74B")},
        {QStringLiteral("水色"), QStringLiteral("#64D2FF")},
        {QStringLiteral("青"), QStringLiteral("#0A84FF")},
        {QStringLiteral("紫"), QStringLiteral("#BF5AF2")},
        {QStringLiteral("ピンク"), QStringLiteral("#FF375F")},
        {QStringLiteral("茶"), QStringLiteral("#AC8E68")},
        {QStringLiteral("グレー"), QStringLiteral("#8E8E93")},
    };
    return list;
}

void TagColorPicker::fillMenu(QMenu* menu, const QString& current, QWidget* dialogParent,
                              std::function<void(const QString&)> chosen)
{
    for (const Preset& preset : presets()) {
        QAction* action = menu->addAction(IconCache::dot(preset.hex), preset.name);
        action->setCheckable(true);
        action->setChecked(preset.hex.compare(current, Qt::CaseInsensitive) == 0);
        QObject::connect(action, &QAction::triggered, menu,
                         [chosen, hex = preset.hex] { chosen(hex); });
    }
    menu->addSeparator();
    QAction* other = menu->addAction(kOtherColor);
    QObject::connect(other, &QAction::triggered, menu, [current, dialogParent, chosen] {
        auto* dialog = new QColorDialog(QColor(current), dialogParent);
        dialog->setWindowTitle(QStringLiteral("タグの色"));
        dialog->setAttribute(Qt::WA_DeleteOnClose);
        dialog->setWindowModality(dialogParent ? Qt::WindowModal : Qt::ApplicationModal);
        QObject::connect(dialog, &QColorDialog::colorSelected, [chosen](const QColor& color) {
            if (const auto text = TagNames::colorText(color.name()))
                chosen(*text);
        });
        dialog->open();
    });
}

TagColorPicker::TagColorPicker(QWidget* parent)
    : QToolButton(parent)
{
    setPopupMode(QToolButton::InstantPopup);
    setAutoRaise(true);
    setToolTip(QStringLiteral("色"));
    auto* menu = new QMenu(this);
    // Built as it opens, so that the current colour is the checked one.
    connect(menu, &QMenu::aboutToShow, this, [this, menu] {
        menu->clear();
        // The colour dialog may outlive the button (a row rebuilt meanwhile).
        fillMenu(menu, m_color, window(), [self = QPointer(this)](const QString& color) {
            if (self)
                Q_EMIT self->colorChosen(color);
        });
    });
    setMenu(menu);
    setColor(QString());
}

void TagColorPicker::setColor(const QString& color)
{
    if (color == m_color && !icon().isNull())
        return;
    m_color = color;
    setIcon(IconCache::dot(color));
}
