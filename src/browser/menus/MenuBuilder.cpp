#include "browser/menus/MenuBuilder.h"

#include "browser/menus/AppCommands.h"
#include "browser/menus/KeyCombo.h"
#include "browser/menus/ShortcutStore.h"

#include <QMenu>
#include <QMenuBar>
#include <QPointer>
#include <vector>

// The rules of one menu's items, refreshed when the menu opens and closes.
class MenuRules : public QObject {
public:
    explicit MenuRules(QMenu* menu)
        : QObject(menu)
    {
        connect(menu, &QMenu::aboutToShow, this, [this] { refresh(true); });
        connect(menu, &QMenu::aboutToHide, this, [this] { refresh(false); });
    }

    void setValid(QAction* item, MenuBuilder::Test valid) { rule(item).valid = std::move(valid); }
    void setChecked(QAction* item, MenuBuilder::Test checked)
    {
        item->setCheckable(true);
        rule(item).checked = std::move(checked);
    }
    void setReason(QAction* item, MenuBuilder::Text reason)
    {
        rule(item).reason = std::move(reason);
    }

    bool allows(const QAction* item) const
    {
        for (const Rule& r : m_rules) {
            if (r.item == item)
                return !r.valid || r.valid();
        }
        return true;
    }

private:
    struct Rule {
        QPointer<QAction> item;
        MenuBuilder::Test valid;
        MenuBuilder::Test checked;
        MenuBuilder::Text reason;
    };

    Rule& rule(QAction* item)
    {
        for (Rule& r : m_rules) {
            if (r.item == item)
                return r;
        }
        return m_rules.emplace_back(Rule{item, {}, {}, {}});
    }

    void refresh(bool open)
    {
        for (const Rule& r : m_rules) {
            if (!r.item)
                continue;
            // A disabled action ignores its shortcut, so a closed menu leaves it on.
            if (r.valid)
                r.item->setEnabled(!open || r.valid());
            if (r.checked && open)
                r.item->setChecked(r.checked());
            if (r.reason && open)
                r.item->setToolTip(r.reason());
        }
    }

    std::vector<Rule> m_rules;
};

namespace {

constexpr const char* kRulesProperty = "quilloMenuRules";
constexpr const char* kHandledProperty = "quilloMenuHandled";

KeyCombo comboOf(const char* portableText)
{
    return KeyCombo::fromKeySequence(
        QKeySequence(QString::fromLatin1(portableText), QKeySequence::PortableText));
}

} // namespace

MenuBuilder::MenuBuilder(QMenuBar* bar, const char* title)
    : m_menu(bar->addMenu(QString::fromUtf8(title)))
    , m_path(QString::fromUtf8(title))
    , m_rules(new MenuRules(m_menu))
{
    // Only items given a reason have a tooltip to show.
    m_menu->setToolTipsVisible(true);
}

MenuBuilder::MenuBuilder(MenuBuilder& parent, const char* title)
    : m_menu(parent.m_menu->addMenu(QString::fromUtf8(title)))
    , m_path(parent.m_path + QStringLiteral(" › ") + QString::fromUtf8(title))
    , m_rules(new MenuRules(m_menu))
{
    m_menu->setToolTipsVisible(true);
}

QAction* MenuBuilder::make(const char* action, const char* title, const Keys& keys)
{
    QAction* item = m_menu->addAction(QString::fromUtf8(title));
    item->setProperty(
        ShortcutStore::kIdentifierProperty,
        QString(QString::fromLatin1(action) + QLatin1Char('|') + QString::fromUtf8(title)));
    QList<KeyCombo> second;
    for (const char* text : keys.second)
        second << comboOf(text);
    ShortcutStore::shared().add(item, m_path, comboOf(keys.primary), second);
    item->setProperty(kRulesProperty, QVariant::fromValue<QObject*>(m_rules));
    return item;
}

QAction* MenuBuilder::add(const char* action, const char* title, Keys keys, Run run)
{
    QAction* item = make(action, title, keys);
    item->setProperty(kHandledProperty, true);
    MenuRules* rules = m_rules;
    QObject::connect(item, &QAction::triggered, m_menu, [rules, item, run = std::move(run)] {
        if (rules->allows(item))
            run();
    });
    return item;
}

QAction* MenuBuilder::addAppCommand(const char* action, const char* title, Keys keys,
                                    void (AppCommands::*command)(), Test valid)
{
    if (!AppCommands::installed())
        return addUnavailable(action, title, keys);
    QAction* item = add(action, title, keys, [command] {
        if (AppCommands* app = AppCommands::installed())
            (app->*command)();
    });
    if (valid)
        setValid(item, [valid = std::move(valid)] { return AppCommands::installed() && valid(); });
    return item;
}

QAction* MenuBuilder::addUnavailable(const char* action, const char* title, Keys keys)
{
    QAction* item = make(action, title, keys);
    item->setEnabled(false);
    return item;
}

void MenuBuilder::separator()
{
    m_menu->addSeparator();
}

void MenuBuilder::setValid(QAction* item, Test valid)
{
    m_rules->setValid(item, std::move(valid));
}

void MenuBuilder::setChecked(QAction* item, Test checked)
{
    m_rules->setChecked(item, std::move(checked));
}

void MenuBuilder::setReason(QAction* item, Text reason)
{
    m_rules->setReason(item, std::move(reason));
}

bool MenuBuilder::hasHandler(const QAction* item)
{
    return item && item->property(kHandledProperty).toBool();
}

bool MenuBuilder::allows(const QAction* item)
{
    if (!item)
        return false;
    auto* rules = dynamic_cast<MenuRules*>(item->property(kRulesProperty).value<QObject*>());
    return !rules || rules->allows(item);
}
