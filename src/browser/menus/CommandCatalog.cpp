#include "browser/menus/CommandCatalog.h"

#include "browser/menus/ActionRouter.h"
#include "browser/menus/KeyCombo.h"
#include "browser/menus/ShortcutStore.h"
#include "palette/CommandNames.h"
#include "palette/SearchFilter.h"

#include <QMainWindow>
#include <QMenu>
#include <QMenuBar>

namespace {

constexpr char16_t kUpArrow = 0xF700;
constexpr char16_t kF1 = 0xF704;
constexpr char16_t kF35 = 0xF726;

QString keyText(const QString& key)
{
    if (key.size() == 1) {
        const char16_t c = key.front().unicode();
        static const QString arrows[] = {QStringLiteral("↑"), QStringLiteral("↓"),
                                         QStringLiteral("←"), QStringLiteral("→")};
        if (c >= kUpArrow && c < kUpArrow + 4)
            return arrows[c - kUpArrow];
        if (c >= kF1 && c <= kF35)
            return QStringLiteral("F%1").arg(c - kF1 + 1);
        if (c == 8)
            return QStringLiteral("⌫");
        if (c == 13)
            return QStringLiteral("↩");
    }
    return key.toUpper();
}

} // namespace

namespace CommandCatalog {

QString shortcutText(const KeyCombo& combo)
{
    if (combo.isEmpty())
        return {};
    QString text;
    if (combo.modifiers & KeyCombo::kControl)
        text += QStringLiteral("⌃");
    if (combo.modifiers & KeyCombo::kOption)
        text += QStringLiteral("⌥");
    if (combo.modifiers & KeyCombo::kShift)
        text += QStringLiteral("⇧");
    if (combo.modifiers & KeyCombo::kCommand)
        text += QStringLiteral("⌘");
    return text + keyText(combo.key);
}

QString shortcutText(const QAction* item)
{
    return item ? shortcutText(KeyCombo::fromKeySequence(item->shortcut())) : QString();
}

void collect(const QMenu* menu, const QStringList& path, std::vector<PaletteCommand>& into)
{
    if (!menu)
        return;
    for (QAction* item : menu->actions()) {
        if (item->isSeparator() || !item->isVisible())
            continue;
        if (QMenu* submenu = item->menu()) {
            collect(submenu, path + QStringList{submenu->title()}, into);
            continue;
        }
        const QString action = ActionRouter::actionOf(item);
        if (action.isEmpty() || CommandNames::isExcluded(action))
            continue;
        if (!ActionRouter::isEnabled(item))
            continue;
        PaletteCommand command;
        command.title = item->text().remove(QStringLiteral("…"));
        command.menuPath = path.join(QStringLiteral(" › "));
        command.action = action;
        command.shortcut = shortcutText(item);
        command.searchAliases << SearchFilter::romajiOf(command.title);
        if (const QString english = CommandNames::english(action); !english.isEmpty())
            command.searchAliases << english;
        command.item = item;
        into.push_back(std::move(command));
    }
}

std::vector<PaletteCommand> collect(QWidget* window)
{
    std::vector<PaletteCommand> commands;
    auto* main = qobject_cast<QMainWindow*>(window);
    if (!main)
        return commands;
    for (QAction* top : main->menuBar()->actions()) {
        if (QMenu* menu = top->menu(); menu && top->isVisible())
            collect(menu, {menu->title()}, commands);
    }
    return commands;
}

} // namespace CommandCatalog
