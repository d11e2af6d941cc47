#include "browser/info/InfoWindow.h"

#include "browser/info/ApplicationRow.h"
#include "browser/info/PermissionGrid.h"
#include "browser/operations/DialogPrompter.h"
#include "browser/pane/IconCache.h"
#include "browser/tags/TagEditorDialog.h"
#include "core/PathText.h"
#include "core/WorkPools.h"
#include "insight/DirectoryWatcher.h"
#include "insight/FolderSizeService.h"
#include "operations/FileOperationManager.h"
#include "operations/PermissionChange.h"
#include "tags/TagStore.h"

#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrent>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

InfoWindow::Reveal& revealHandler()
{
    static InfoWindow::Reveal reveal;
    return reveal;
}

constexpr double kLatency = 0.3;

QWidget* row(QWidget* parent, std::initializer_list<QWidget*> widgets)
{
    auto* box = new QWidget(parent);
    auto* layout = new QHBoxLayout(box);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget : widgets)
        layout->addWidget(widget);
    layout->addStretch();
    return box;
}

} // namespace

InfoWindow::InfoWindow(fs::path item, QWidget* parent)
    : QWidget(parent, parent ? Qt::Tool : Qt::Window)
    , m_path(PathText::standardized(item))
    , m_prompter(std::make_shared<DialogPrompter>(this))
{
    setAttribute(Qt::WA_DeleteOnClose);
    build();
    connect(&FileOperationManager::shared(), &FileOperationManager::itemsMoved, this,
            &InfoWindow::itemsMoved);
    connect(&TagStore::shared(), &TagStore::tagsChanged, this, &InfoWindow::showTags);
    refresh();
    watch();
}

InfoWindow::~InfoWindow()
{
    // Hiding during destruction moves the focus out of the fields.
    m_name->blockSignals(true);
    m_linkTarget->blockSignals(true);
    FolderSizeService::shared().cancel(this);
}

void InfoWindow::setRevealHandler(Reveal reveal)
{
    revealHandler() = std::move(reveal);
}

QLabel* InfoWindow::addValue(QFormLayout* form, const QString& label)
{
    auto* value = new QLabel(m_content);
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setWordWrap(true);
    form->addRow(label, value);
    m_values.insert(label, value);
    m_rowFields.insert(label, value);
    return value;
}

void InfoWindow::build()
{
    auto* outer = new QVBoxLayout(this);
    m_content = new QWidget(this);
    outer->addWidget(m_content);
    m_form = new QFormLayout(m_content);
    m_icon = new QLabel(m_content);
    m_name = new QLineEdit(m_content);
    m_form->addRow(m_icon);
    m_form->addRow(QStringLiteral("名前"), m_name);
    connect(m_name, &QLineEdit::editingFinished, this, &InfoWindow::commitName);
    for (const char* label : {"種類", "MIME タイプ", "サイズ", "ディスク上のサイズ", "場所",
                              "作成日", "変更日", "最終アクセス日"})
        addValue(m_form, QString::fromUtf8(label));
    m_linkTarget = new QLineEdit(m_content);
    m_form->addRow(QStringLiteral("リンク先"), m_linkTarget);
    connect(m_linkTarget, &QLineEdit::editingFinished, this, &InfoWindow::commitLinkTarget);
    for (const char* label : {"所有者", "グループ"})
        addValue(m_form, QString::fromUtf8(label));
    QLabel* location = value(QStringLiteral("場所"));
    location->setTextInteractionFlags(Qt::LinksAccessibleByMouse);
    connect(location, &QLabel::linkActivated, this, [this] {
        if (revealHandler())
            revealHandler()({m_path});
    });

    m_permissions = new PermissionGrid(m_content);
    m_applyInside = new QPushButton(QStringLiteral("中の項目にも適用"), m_content);
    auto* permissions = new QWidget(m_content);
    auto* permissionLayout = new QVBoxLayout(permissions);
    permissionLayout->setContentsMargins(0, 0, 0, 0);
    permissionLayout->addWidget(m_permissions);
    permissionLayout->addWidget(m_applyInside, 0, Qt::AlignLeft);
    m_form->addRow(QStringLiteral("アクセス権"), permissions);
    m_rowFields.insert(QStringLiteral("アクセス権"), permissions);
    connect(m_permissions, &PermissionGrid::bitRequested, this, &InfoWindow::changeBit);
    connect(m_applyInside, &QPushButton::clicked, this, &InfoWindow::applyInside);

    auto* tags = new QLabel(m_content);
    auto* editTags = new QPushButton(QStringLiteral("編集…"), m_content);
    m_values.insert(QStringLiteral("タグ"), tags);
    m_form->addRow(QStringLiteral("タグ"), row(m_content, {tags, editTags}));
    connect(editTags, &QPushButton::clicked, this,
            [this] { TagEditorDialog::showFor(this, {m_path}); });

    m_application = new ApplicationRow(m_content);
    m_values.insert(QStringLiteral("このアプリケーションで開く"), m_application->name());
    m_form->addRow(QStringLiteral("このアプリケーションで開く"), m_application);
    m_rowFields.insert(QStringLiteral("このアプリケーションで開く"), m_application);
}

void InfoWindow::refresh()
{
    m_facts = ItemFacts::read(m_path);
    showFacts();
    Q_EMIT refreshed();
}

void InfoWindow::showFacts()
{
    const ItemFacts& f = m_facts;
    const QString name = PathText::displayName(m_path);
    setWindowTitle(name + QStringLiteral("の情報"));
    // Gone (deleted, or moved by another program): what was last seen, greyed out.
    m_content->setEnabled(f.exists);
    if (!f.exists)
        return;
    m_icon->setPixmap(IconCache::named(f.iconName).pixmap(32, 32));
    if (!m_name->hasFocus())
        m_name->setText(PathText::toStorableText(m_path.filename()));
    value(QStringLiteral("種類"))->setText(f.kind);
    value(QStringLiteral("MIME タイプ"))->setText(f.mimeType);
    if (!f.isFolder()) {
        value(QStringLiteral("サイズ"))->setText(InfoText::size(f.size));
        value(QStringLiteral("ディスク上のサイズ"))->setText(InfoText::size(f.onDisk));
    }
    const QString folder = PathText::display(PathText::parent(m_path));
    value(QStringLiteral("場所"))
        ->setText(QStringLiteral("<a href=\"#\">%1</a>").arg(folder.toHtmlEscaped()));
    value(QStringLiteral("作成日"))->setText(InfoText::date(f.created));
    value(QStringLiteral("変更日"))->setText(InfoText::date(f.modified));
    value(QStringLiteral("最終アクセス日"))->setText(InfoText::date(f.accessed));
    if (f.linkTarget && !m_linkTarget->hasFocus())
        m_linkTarget->setText(PathText::toStorableText(*f.linkTarget));
    value(QStringLiteral("所有者"))->setText(f.owner);
    value(QStringLiteral("グループ"))->setText(f.group);
    m_permissions->setMode(f.mode & 0777, f.canChangeMode());
    m_applyInside->setVisible(f.isFolder());
    m_applyInside->setEnabled(f.canChangeMode());
    showRowsFor(f);
    showTags();
    if (!f.isFolder() && !f.isLink())
        m_application->setMimeType(f.mimeType);
}

void InfoWindow::showRowsFor(const ItemFacts& facts)
{
    m_form->setRowVisible(m_linkTarget, facts.isLink());
    m_form->setRowVisible(m_rowFields.value(QStringLiteral("アクセス権")), !facts.isLink());
    m_form->setRowVisible(m_rowFields.value(QStringLiteral("このアプリケーションで開く")),
                          !facts.isFolder() && !facts.isLink());
}

void InfoWindow::watch()
{
    // A folder is watched with its contents (its size follows them); anything else
    // through its parent. Ancestors are watched too, so a rename of either shows.
    const bool folder = m_facts.isFolder();
    m_watcher = std::make_unique<DirectoryWatcher>(
        folder ? m_path : PathText::parent(m_path), kLatency,
        [this](const auto& paths) { diskChanged(paths); },
        folder ? DirectoryWatcher::kDefaultBudget : 1);
    if (folder)
        requestFolderSizes();
}

void InfoWindow::diskChanged(const std::vector<fs::path>& paths)
{
    const bool wasFolder = m_facts.isFolder();
    refresh();
    if (!wasFolder || !m_facts.exists)
        return;
    for (const fs::path& path : paths)
        FolderSizeService::shared().invalidate(path);
    requestFolderSizes();
}

void InfoWindow::requestFolderSizes()
{
    const quint64 generation = ++m_sizeGeneration;
    QPointer<InfoWindow> self(this);
    FolderSizeService::shared().request(
        {m_path}, this, [self, generation](const fs::path&, TreeSize::Measure size) {
            if (self && generation == self->m_sizeGeneration) {
                self->value(QStringLiteral("サイズ"))->setText(InfoText::size(size.bytes));
            }
        });
    QtConcurrent::run(&WorkPools::folderSizes(), [path = m_path] {
        return diskUsage(path);
    }).then(this, [this, generation](int64_t bytes) {
        if (generation == m_sizeGeneration)
            value(QStringLiteral("ディスク上のサイズ"))->setText(InfoText::size(bytes));
    });
}

void InfoWindow::commitName()
{
    const QString wanted = m_name->text();
    if (!m_facts.exists || wanted == PathText::toStorableText(m_path.filename()))
        return;
    QPointer<InfoWindow> self(this);
    FileOperationManager::shared().rename(
        {m_path, std::nullopt}, wanted, m_prompter, [self](std::optional<fs::path> renamed) {
            if (!self)
                return;
            // A refused name goes back to the one on disk.
            if (!renamed)
                self->m_name->setText(PathText::toStorableText(self->m_path.filename()));
        });
}

void InfoWindow::commitLinkTarget()
{
    const fs::path wanted = PathText::fromStorableText(m_linkTarget->text());
    if (!m_facts.linkTarget || wanted == *m_facts.linkTarget)
        return;
    QPointer<InfoWindow> self(this);
    FileOperationManager::shared().changeLinkTarget(m_path, wanted, m_prompter, [self](bool) {
        if (self)
            self->refresh();
    });
}

void InfoWindow::itemsMoved(const std::vector<std::pair<fs::path, fs::path>>& moves)
{
    for (const auto& [from, to] : moves) {
        // The item itself, or a folder above it, went elsewhere.
        const std::string& path = m_path.native();
        const std::string& moved = from.native();
        const bool inside = path.size() > moved.size() && path.starts_with(moved) &&
                            (moved == "/" || path[moved.size()] == '/');
        if (path != moved && !inside)
            continue;
        m_path = inside ? to / path.substr(moved.size() + (moved == "/" ? 0 : 1)) : to;
        m_name->setText(PathText::toStorableText(m_path.filename()));
        refresh();
        watch();
        return;
    }
}

void InfoWindow::changeBit(mode_t bit, bool on)
{
    PermissionChange::Request request{{m_path}, on ? bit : mode_t(0), bit, bit, false};
    QPointer<InfoWindow> self(this);
    FileOperationManager::shared().changePermissions(request, m_prompter, [self](auto) {
        if (self)
            self->refresh();
    });
}

void InfoWindow::applyInside()
{
    // Folders inside take the folder's bits; files its read and write bits and keep
    // their own execute bits.
    const mode_t mode = m_facts.mode & 0777;
    PermissionChange::Request request{{m_path}, mode, 0777, 0666, true};
    QPointer<InfoWindow> self(this);
    FileOperationManager::shared().changePermissions(request, m_prompter, [self](auto) {
        if (self)
            self->refresh();
    });
}

void InfoWindow::showTags()
{
    QStringList names;
    for (const Tag& tag : TagStore::shared().tags(m_path))
        names << tag.name;
    value(QStringLiteral("タグ"))
        ->setText(names.isEmpty() ? QStringLiteral("—") : names.join(QStringLiteral("、")));
}
