#pragma once

#include "platform/Error.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <filesystem>
#include <optional>
#include <vector>

// A freedesktop mimeapps.list, kept line by line: other programs and people edit
// this file too, so everything we do not change is written back byte for byte
// (comments, other groups, key order, line endings). Only the
// [Default Applications] group is read and changed.
class MimeAppsList {
public:
    // Strict: a file that is not valid UTF-8, holds NUL bytes, has a key before the
    // first group or a line that is neither blank, comment, group nor key=value
    // gives EILSEQ (encoding) or EBADMSG (structure), so that it is left alone.
    static Result<MimeAppsList> parse(const QByteArray& bytes);
    QByteArray serialize() const;

    // A missing file reads as an empty list.
    static Result<MimeAppsList> load(const std::filesystem::path& path);
    // Durable; through a symbolic link the link's target is replaced, not the link.
    Result<void> save(const std::filesystem::path& path) const;

    // The effective value of the MIME type's key: the last one, as desktops read
    // duplicates. Text after "=", leading white space removed.
    std::optional<QString> defaultValue(const QString& mimeType) const;
    // Desktop ids of that value, in order, empty items dropped.
    QStringList defaults(const QString& mimeType) const;
    // Replaces the effective value (the key and its spacing stay as written), or adds the key to
    // the last [Default Applications] group (made at the end when there is none); no value removes
    // every entry of the key.
    void setDefaultValue(const QString& mimeType, const std::optional<QString>& value);

    static QStringList splitIds(const QString& value);
    static QString joinIds(const QStringList& ids);

private:
    struct Line {
        QByteArray text;   // without its ending
        QByteArray ending; // "\n", "\r\n", or empty for a last line without one
        bool isGroup = false;
        bool isEntry = false;
        QString group; // a group line's name, or the group an entry belongs to
        QString key;
        QString value;
        qsizetype valueStart = 0; // where the value begins in `text`
    };
    static std::optional<Line> parseLine(QByteArray text, const QString& group);
    int lastEntry(const QString& mimeType) const;
    int insertionPoint();
    QByteArray newLineEnding() const;

    std::vector<Line> m_lines;
};
