#include "preview/FileHandlerRegistration.h"

#include "core/Preferences.h"
#include "platform/DefaultApplication.h"

#include <QMutex>
#include <QtConcurrent>

namespace fs = std::filesystem;

const QString FileHandlerRegistration::desktopId =
    QString::fromLatin1(DefaultApplication::kOwnDesktopId);
const QString FileHandlerRegistration::noEntry = QStringLiteral("\n");

namespace {

// Two changes at once must not both read the old file and write over each other.
QMutex g_fileLock;

bool namesUsFirst(const QStringList& ids)
{
    return !ids.isEmpty() && ids.first() == FileHandlerRegistration::desktopId;
}

} // namespace

QString FileHandlerRegistration::Failure::message() const
{
    if (!whileWriting)
        return QStringLiteral(
            "mimeapps.list を読み取れないため、既定のアプリケーションを変更できませんでした。");
    return QStringLiteral(
               "mimeapps.list に書き込めないため、既定のアプリケーションを変更できませんでした。") +
           u'\n' + error.description();
}

FileHandlerRegistration::FileHandlerRegistration(fs::path file)
    : m_file(std::move(file))
{
}

fs::path FileHandlerRegistration::userFile()
{
    // Raw bytes: the folder name need not be UTF-8. A relative value is ignored, as
    // the base directory rules ask.
    const QByteArray config = qgetenv("XDG_CONFIG_HOME");
    if (config.startsWith('/'))
        return fs::path(config.toStdString()) / "mimeapps.list";
    return fs::path(qgetenv("HOME").toStdString()) / ".config" / "mimeapps.list";
}

bool FileHandlerRegistration::isDefault(const MimeAppsList& list, PreviewFileKind kind)
{
    for (const QString& type : mimeTypes(kind)) {
        if (!namesUsFirst(list.defaults(type)))
            return false;
    }
    return true;
}

FileHandlerRegistration::Applied FileHandlerRegistration::apply(MimeAppsList list,
                                                                PreviewFileKind kind, bool on,
                                                                const Handlers& previous)
{
    Applied applied;
    for (const QString& type : mimeTypes(kind)) {
        const std::optional<QString> current = list.defaultValue(type);
        QStringList ids = MimeAppsList::splitIds(current.value_or(QString()));
        const bool ours = namesUsFirst(ids);
        if (on) {
            if (ours)
                continue;
            // Switching on twice must not lose the handler from before the first time.
            if (!previous.contains(type))
                applied.remembered.insert(type, current.value_or(noEntry));
            ids.removeAll(desktopId);
            ids.prepend(desktopId);
            list.setDefaultValue(type, MimeAppsList::joinIds(ids));
            applied.fileChanged = true;
        } else if (previous.contains(type)) {
            // Someone chose another application meanwhile: that choice stays.
            if (ours) {
                const QString& before = previous.value(type);
                list.setDefaultValue(type, before == noEntry ? std::nullopt
                                                             : std::optional<QString>(before));
                applied.fileChanged = true;
            }
            applied.remembered.insert(type, std::nullopt);
        } else if (ours) {
            // Made default by hand, nothing to put back: just stop being the default.
            ids.removeAll(desktopId);
            list.setDefaultValue(type, ids.isEmpty() ? std::nullopt
                                                     : std::optional(MimeAppsList::joinIds(ids)));
            applied.fileChanged = true;
        }
    }
    applied.list = std::move(list);
    return applied;
}

FileHandlerRegistration::Handlers FileHandlerRegistration::merged(Handlers previous,
                                                                  const Changes& changes)
{
    for (auto it = changes.begin(); it != changes.end(); ++it) {
        if (it.value())
            previous.insert(it.key(), *it.value());
        else
            previous.remove(it.key());
    }
    return previous;
}

std::expected<QList<PreviewFileKind>, FileHandlerRegistration::Failure>
FileHandlerRegistration::defaultKinds() const
{
    const Result<MimeAppsList> list = [&] {
        QMutexLocker lock(&g_fileLock);
        return MimeAppsList::load(m_file);
    }();
    if (!list)
        return std::unexpected(Failure{list.error(), false});
    QList<PreviewFileKind> kinds;
    for (PreviewFileKind kind : kAllPreviewFileKinds) {
        if (isDefault(*list, kind))
            kinds << kind;
    }
    return kinds;
}

std::expected<FileHandlerRegistration::Changes, FileHandlerRegistration::Failure>
FileHandlerRegistration::change(PreviewFileKind kind, bool on, const Handlers& previous) const
{
    QMutexLocker lock(&g_fileLock);
    Result<MimeAppsList> list = MimeAppsList::load(m_file);
    if (!list)
        return std::unexpected(Failure{list.error(), false});
    Applied applied = apply(std::move(*list), kind, on, previous);
    if (applied.fileChanged) {
        if (Result<void> saved = applied.list.save(m_file); !saved)
            return std::unexpected(Failure{saved.error(), true});
    }
    return applied.remembered;
}

void FileHandlerRegistration::setDefaultInBackground(
    PreviewFileKind kind, bool on, QObject* context,
    std::function<void(std::optional<Failure>)> done) const
{
    // Only this kind's types are read and changed, so a change of another kind
    // finishing meanwhile is merged, not overwritten.
    const Handlers previous = Preferences::shared().previousFileHandlers();
    QtConcurrent::run([self = *this, kind, on, previous] {
        return self.change(kind, on, previous);
    }).then(context, [done = std::move(done)](std::expected<Changes, Failure> changes) {
        if (!changes) {
            done(changes.error());
            return;
        }
        Preferences& preferences = Preferences::shared();
        preferences.setPreviousFileHandlers(merged(preferences.previousFileHandlers(), *changes));
        done(std::nullopt);
    });
}

void FileHandlerRegistration::defaultKindsInBackground(
    QObject* context,
    std::function<void(std::expected<QList<PreviewFileKind>, Failure>)> done) const
{
    QtConcurrent::run([self = *this] {
        return self.defaultKinds();
    }).then(context, std::move(done));
}
