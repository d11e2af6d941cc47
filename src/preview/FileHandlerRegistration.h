#pragma once

#include "platform/MimeAppsList.h"
#include "preview/PreviewFileKind.h"

#include <QList>
#include <QMap>
#include <QObject>
#include <filesystem>
#include <functional>
#include <optional>

// Makes Quillo the desktop's default application for a file kind, through the
// user's mimeapps.list, and puts the replaced handlers back when switched off.
// The handlers we replaced are kept in the settings ("previousFileHandlers"), so
// that switching off after a restart restores them exactly.
class FileHandlerRegistration {
public:
    // Our desktop file id, as installed.
    static const QString desktopId;
    // Remembered for a MIME type that had no entry: no line of the file can hold it.
    static const QString noEntry;

    using Handlers = QMap<QString, QString>;
    // MIME type → value to remember from now on, or none to forget it.
    using Changes = QMap<QString, std::optional<QString>>;

    struct Applied {
        MimeAppsList list;
        Changes remembered;
        bool fileChanged = false;
    };

    struct Failure {
        Error error;
        bool whileWriting = false; // else the file could not be read or understood
        QString message() const;
    };

    explicit FileHandlerRegistration(std::filesystem::path file = userFile());
    // $XDG_CONFIG_HOME/mimeapps.list, or ~/.config/mimeapps.list.
    static std::filesystem::path userFile();

    // On when every MIME type of the kind names us first.
    static bool isDefault(const MimeAppsList& list, PreviewFileKind kind);
    static Applied apply(MimeAppsList list, PreviewFileKind kind, bool on,
                         const Handlers& previous);
    static Handlers merged(Handlers previous, const Changes& changes);

    // Any thread; the file only. The kinds for which we are the default.
    std::expected<QList<PreviewFileKind>, Failure> defaultKinds() const;
    // Any thread; the file only. Changes of "previousFileHandlers" to be made.
    std::expected<Changes, Failure> change(PreviewFileKind kind, bool on,
                                           const Handlers& previous) const;

    // Main thread: the file on the global pool, then the settings on the main thread
    // before `done` runs in `context`.
    void setDefaultInBackground(PreviewFileKind kind, bool on, QObject* context,
                                std::function<void(std::optional<Failure>)> done) const;
    void defaultKindsInBackground(
        QObject* context,
        std::function<void(std::expected<QList<PreviewFileKind>, Failure>)> done) const;

private:
    std::filesystem::path m_file;
};
