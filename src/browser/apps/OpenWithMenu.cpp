#include "browser/apps/OpenWithMenu.h"

#include "browser/apps/ApplicationChooser.h"
#include "core/PathText.h"
#include "platform/DefaultApplication.h"
#include "platform/MimeAppsList.h"
#include "preview/FileHandlerRegistration.h"

#include <QIcon>
#include <QMimeDatabase>
#include <QtConcurrent>
#include <algorithm>

namespace fs = std::filesystem;

namespace {

constexpr qsizetype kNamesShown = 10;

QIcon iconFor(const QString& icon)
{
    if (icon.startsWith(u'/'))
        return QIcon(icon);
    return QIcon::fromTheme(icon);
}

QString namesOf(const std::vector<fs::path>& files)
{
    QStringList names;
    for (const fs::path& file : files)
        names.append(QStringLiteral("「") + PathText::displayName(file) + QStringLiteral("」"));
    QString list = names.mid(0, kNamesShown).join(QStringLiteral("、"));
    if (names.size() > kNamesShown)
        list += QStringLiteral("、ほか %1 項目").arg(names.size() - kNamesShown);
    return list;
}

void alert(const OpenWithMenu::PrompterSource& prompter, const QString& message,
           const QString& detail)
{
    Alert shown;
    shown.message = message;
    shown.informativeText = detail;
    shown.buttons = {QStringLiteral("OK")};
    prompter()->present(shown, {});
}

QString nameOf(const QString& id)
{
    return DesktopApps::displayName(id).value_or(id);
}

// Launching may wait on D-Bus activation, so it runs off the main thread. `name` is the
// one the menu showed: the application may be gone by now.
void openWith(QWidget* window, OpenWithMenu::PrompterSource prompter, std::vector<fs::path> files,
              QString id, QString name)
{
    QtConcurrent::run([files, id] {
        return DesktopApps::open(id, files);
    }).then(window, [files, name, prompter](const std::expected<void, QString>& opened) {
        if (opened)
            return;
        alert(prompter, namesOf(files) + QStringLiteral("を「%1」で開けませんでした。").arg(name),
              opened.error());
    });
}

// The chosen application goes first in the type's list; the ones named before stay
// behind it, so that they take over if it is removed.
std::optional<FileHandlerRegistration::Failure> writeDefault(const QString& type, const QString& id)
{
    const fs::path file = FileHandlerRegistration::userFile();
    Result<MimeAppsList> list = MimeAppsList::load(file);
    if (!list)
        return FileHandlerRegistration::Failure{list.error(), false};
    QStringList ids = list->defaults(type);
    ids.removeAll(id);
    ids.prepend(id);
    list->setDefaultValue(type, MimeAppsList::joinIds(ids));
    if (Result<void> saved = list->save(file); !saved)
        return FileHandlerRegistration::Failure{saved.error(), true};
    return std::nullopt;
}

void makeDefaultAndOpen(QWidget* window, OpenWithMenu::PrompterSource prompter,
                        std::vector<fs::path> files, QString type, QString id)
{
    QPointer<QWidget> target(window);
    QtConcurrent::run([type, id] { return writeDefault(type, id); })
        .then(window, [target, prompter, files,
                       id](const std::optional<FileHandlerRegistration::Failure>& failure) {
            if (failure) {
                alert(prompter, failure->message(), {});
                return;
            }
            if (target)
                openWith(target, prompter, files, id, nameOf(id));
        });
}

} // namespace

OpenWithMenu::OpenWithMenu(std::vector<fs::path> files, QWidget* window, PrompterSource prompter,
                           QWidget* parent)
    : QMenu(title(), parent)
    , m_files(std::move(files))
    , m_window(window)
    , m_prompter(std::move(prompter))
{
    setObjectName(QStringLiteral("openWithMenu"));
    connect(this, &QMenu::aboutToShow, this, &OpenWithMenu::fill);
}

QString OpenWithMenu::mimeTypeOf(const fs::path& file)
{
    static const QMimeDatabase database;
    // The name alone: a menu must not wait on the disk.
    return database
        .mimeTypeForFile(QString::fromUtf8(file.filename().native()), QMimeDatabase::MatchExtension)
        .name();
}

void OpenWithMenu::fill()
{
    if (m_filled)
        return;
    m_filled = true;
    for (const fs::path& file : m_files) {
        const QString type = mimeTypeOf(file);
        if (!m_types.contains(type))
            m_types.append(type);
    }
    m_applications = DesktopApps::applicationsFor(m_types.value(0));
    m_default = DesktopApps::defaultFor(m_types.value(0));
    for (const QString& type : m_types.mid(1)) {
        const auto takesType = DesktopApps::applicationsFor(type);
        std::erase_if(m_applications, [&takesType](const DesktopApps::Application& app) {
            return std::ranges::find(takesType, app) == takesType.end();
        });
        if (m_default != DesktopApps::defaultFor(type))
            m_default.reset();
    }
    addApplications(*this, false);
    m_always = addMenu(alwaysTitle());
    m_always->setObjectName(QStringLiteral("openWithAlwaysMenu"));
    m_always->setEnabled(m_types.size() == 1);
    addApplications(*m_always, true);
}

void OpenWithMenu::addApplications(QMenu& menu, bool makeDefault)
{
    for (const DesktopApps::Application& app : m_applications) {
        const bool isDefault = m_default == app.id;
        QAction* item =
            menu.addAction(iconFor(app.icon), isDefault ? app.name + defaultSuffix() : app.name);
        item->setData(app.id);
        connect(item, &QAction::triggered, this, [this, id = app.id, name = app.name, makeDefault] {
            if (!m_window)
                return;
            if (makeDefault)
                makeDefaultAndOpen(m_window, m_prompter, m_files, m_types.value(0), id);
            else
                openWith(m_window, m_prompter, m_files, id, name);
        });
    }
    if (!menu.isEmpty())
        menu.addSeparator();
    QAction* other = menu.addAction(otherTitle());
    connect(other, &QAction::triggered, this, [this, makeDefault] { chooseOther(makeDefault); });
}

// The chooser outlives this menu, which closes as soon as the item is picked.
void OpenWithMenu::chooseOther(bool makeDefault)
{
    if (!m_window)
        return;
    QPointer<QWidget> window = m_window;
    std::vector<DesktopApps::Application> apps = DesktopApps::allApplications();
    std::erase_if(apps, [](const DesktopApps::Application& app) {
        return app.id == QLatin1String(DefaultApplication::kOwnDesktopId);
    });
    ApplicationChooser::choose(m_window, otherTitle(), std::move(apps),
                               [window, prompter = m_prompter, files = m_files,
                                type = m_types.value(0), makeDefault](const QString& id) {
                                   if (!window)
                                       return;
                                   if (makeDefault)
                                       makeDefaultAndOpen(window, prompter, files, type, id);
                                   else
                                       openWith(window, prompter, files, id, nameOf(id));
                               });
}
