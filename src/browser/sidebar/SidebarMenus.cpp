#include "browser/sidebar/SidebarMenus.h"

#include "browser/operations/DialogPrompter.h"
#include "browser/operations/NamePrompt.h"
#include "browser/sidebar/SidebarModel.h"
#include "browser/sidebar/SidebarView.h"
#include "tags/SidebarStore.h"

#include <QMenu>
#include <QMessageBox>
#include <memory>

namespace {

const QString kEmptyName = QStringLiteral("名前を入力してください。");

// A section that holds anything is deleted only after a question.
void confirmDelete(SidebarStore& store, QWidget* window, const SidebarSection& section)
{
    const auto custom = store.customSection(section.uuid());
    if (!custom || store.items(section).isEmpty()) {
        store.deleteSection(section);
        return;
    }
    Alert alert;
    alert.message = QStringLiteral("「%1」を削除しますか？").arg(custom->name);
    alert.informativeText =
        QStringLiteral("このセクションの項目とサブセクションもサイドバーから取り除かれます。");
    alert.buttons = {QStringLiteral("キャンセル"), QStringLiteral("削除")};
    alert.escapeButton = 0;
    alert.destructiveButton = 1;
    auto prompter = std::make_shared<DialogPrompter>(window);
    prompter->present(alert, [&store, section, prompter](Alert::Response response) {
        if (response.button == 1)
            store.deleteSection(section);
    });
}

class MenuMaker {
public:
    MenuMaker(SidebarView& view, QMenu* menu)
        : m_view(view)
        , m_model(*view.sidebarModel())
        , m_store(m_model.store())
        , m_menu(menu)
    {
    }

    void forSection(const SidebarSection& section);
    void forSubsection(const SidebarSection& subsection);
    void forItem(const QModelIndex& index, const SidebarItem& item);
    void forTag(const Tag& tag);
    void general(std::optional<SidebarSection> after);

private:
    void add(const QString& title, std::function<void()> run)
    {
        QObject::connect(m_menu->addAction(title), &QAction::triggered, m_menu, std::move(run));
    }
    void addOpenInNewTab(const std::optional<Location>& location);
    void addSectionEdits(const SidebarSection& section);
    void addVisibleSections();
    QWidget* window() const { return m_view.window(); }

    SidebarView& m_view;
    SidebarModel& m_model;
    SidebarStore& m_store;
    QMenu* m_menu;
};

void MenuMaker::forSection(const SidebarSection& section)
{
    SidebarStore& store = m_store;
    add(QStringLiteral("セクションを隠す"), [&store, section] { store.setSection(section, true); });
    if (section.kind() == SidebarSection::Kind::custom)
        addSectionEdits(section);
    if (section.kind() == SidebarSection::Kind::tag)
        add(QStringLiteral("削除"), [&store, section] { store.deleteSection(section); });
    m_menu->addSeparator();
    general(section);
}

void MenuMaker::forSubsection(const SidebarSection& subsection)
{
    addSectionEdits(subsection);
}

// Rename, new subsection and delete, for a custom section or a subsection.
void MenuMaker::addSectionEdits(const SidebarSection& section)
{
    SidebarStore& store = m_store;
    QWidget* parent = window();
    const QUuid id = section.uuid();
    add(QStringLiteral("名前を変更…"), [&store, parent, id] {
        const auto current = store.customSection(id);
        SidebarMenus::askName(parent, QStringLiteral("セクションの名前を変更"),
                              QStringLiteral("新しい名前:"), current ? current->name : QString(),
                              false,
                              [&store, id](const QString& name) { store.renameSection(id, name); });
    });
    add(QStringLiteral("サブセクションを作成…"), [&store, parent, id] {
        SidebarMenus::askName(
            parent, QStringLiteral("サブセクションを作成"), QStringLiteral("サブセクションの名前:"),
            QString(), false,
            [&store, id](const QString& name) { store.createSubsection(name, id); });
    });
    add(QStringLiteral("削除"),
        [&store, parent, section] { confirmDelete(store, parent, section); });
}

void MenuMaker::general(std::optional<SidebarSection> after)
{
    SidebarStore& store = m_store;
    QWidget* parent = window();
    add(QStringLiteral("新規セクション…"), [&store, parent, after] {
        SidebarMenus::askName(parent, QStringLiteral("新規セクション"),
                              QStringLiteral("セクションの名前:"), QString(), false,
                              [&store, after](const QString& name) {
                                  // Right below the section the menu was opened on.
                                  std::optional<SidebarSection> before;
                                  const QList<SidebarSection>& sections = store.sections();
                                  const qsizetype at = after ? sections.indexOf(*after) : -1;
                                  if (at >= 0 && at + 1 < sections.size())
                                      before = sections[at + 1];
                                  store.createSection(name, before);
                              });
    });
    addVisibleSections();
    add(QStringLiteral("初期設定に戻す"), [&store] { store.resetSections(); });
}

void MenuMaker::addVisibleSections()
{
    QMenu* shown = m_menu->addMenu(QStringLiteral("表示するセクション"));
    SidebarStore& store = m_store;
    for (const SidebarSection& section : store.sections()) {
        QAction* action = shown->addAction(store.title(section));
        action->setCheckable(true);
        action->setChecked(!store.isHidden(section));
        QObject::connect(action, &QAction::triggered, m_menu,
                         [&store, section](bool checked) { store.setSection(section, !checked); });
    }
}

void MenuMaker::addOpenInNewTab(const std::optional<Location>& location)
{
    if (!location)
        return;
    SidebarView* view = &m_view;
    add(QStringLiteral("新しいタブで開く"),
        [view, location] { Q_EMIT view->openInNewTabRequested(*location); });
}

void MenuMaker::forItem(const QModelIndex& index, const SidebarItem& item)
{
    const auto container = m_model.containerOf(index);
    const bool placed = container && (container->kind() == SidebarSection::Kind::favorites ||
                                      container->kind() == SidebarSection::Kind::custom);
    SidebarStore& store = m_store;
    if (placed) {
        QWidget* parent = window();
        const SidebarSection section = *container;
        add(QStringLiteral("名前を変更…"), [&store, parent, item, section] {
            SidebarMenus::askName(
                parent, QStringLiteral("項目の名前を変更"),
                QStringLiteral("サイドバーでの名前（空にすると元の名前に戻ります）:"),
                item.displayName(), true, [&store, item, section](const QString& name) {
                    store.renameItem(item.id(), section,
                                     name.isEmpty() || name == item.name ? std::nullopt
                                                                         : std::optional(name));
                });
        });
        add(QStringLiteral("サイドバーから取り除く"),
            [&store, item, section] { store.removeItem(item.id(), section); });
    }
    if (!item.isMissing)
        addOpenInNewTab(m_model.locationAt(index));
    if (item.isEjectable) {
        SidebarView* view = &m_view;
        add(QStringLiteral("取り出す"), [view, item] { view->eject(item); });
    }
}

void MenuMaker::forTag(const Tag& tag)
{
    addOpenInNewTab(Location::tag(tag.id));
    SidebarStore& store = m_store;
    add(QStringLiteral("タグのセクションを追加"),
        [&store, id = tag.id] { store.addTagSection(id); });
}

} // namespace

namespace SidebarMenus {

QMenu* make(SidebarView& view, const QModelIndex& index)
{
    auto* menu = new QMenu(&view);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    MenuMaker maker(view, menu);
    SidebarModel& model = *view.sidebarModel();
    if (const auto section = model.sectionAt(index)) {
        maker.forSection(*section);
    } else if (const auto tag = model.tagAt(index)) {
        maker.forTag(*tag);
    } else if (const SidebarItem* item = model.itemAt(index)) {
        if (item->sectionID)
            maker.forSubsection(SidebarSection::custom(*item->sectionID));
        else
            maker.forItem(index, *item);
    } else {
        maker.general(std::nullopt);
    }
    return menu;
}

void askName(QWidget* window, const QString& title, const QString& label, const QString& text,
             bool allowEmpty, std::function<void(const QString&)> done)
{
    NamePrompt::open(window, title, label, text, QStringLiteral("OK"),
                     [window, allowEmpty, done = std::move(done)](const QString& value) {
                         const QString name = value.trimmed();
                         if (!name.isEmpty() || allowEmpty) {
                             done(name);
                             return;
                         }
                         auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Quillo"),
                                                     kEmptyName, QMessageBox::Ok, window);
                         box->setAttribute(Qt::WA_DeleteOnClose);
                         box->setWindowModality(Qt::WindowModal);
                         box->open();
                     });
}

} // namespace SidebarMenus
