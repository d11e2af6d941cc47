#pragma once

#include <QString>
#include <QUuid>
#include <filesystem>
#include <functional>
#include <variant>

// What a pane shows: a folder (byte-exact path) or a tag (its id).
// Text form: the path, or "quillo-tag:///" followed by the UUID.
class Location {
public:
    Location() = default;
    static Location folder(const std::filesystem::path& path); // standardized here
    static Location tag(const QUuid& id);
    // Parses the text form; any text that is not a tag location is a folder path.
    static Location fromText(const QString& text);

    bool isFolder() const { return std::holds_alternative<std::filesystem::path>(m_value); }
    bool isTag() const { return std::holds_alternative<QUuid>(m_value); }
    bool isEmpty() const { return isFolder() && path().empty(); }
    const std::filesystem::path& path() const; // empty for a tag
    QUuid tagId() const;                       // null for a folder

    QString toText() const;
    // The name shown in titles: the folder's last component ("/" for the root), or
    // the tag's name through the lookup that the application installs.
    QString displayName() const;
    static void setTagNameLookup(std::function<QString(const QUuid&)> lookup);

    bool operator==(const Location&) const = default;

    static constexpr const char* kTagScheme = "quillo-tag";

private:
    std::variant<std::filesystem::path, QUuid> m_value;
};
