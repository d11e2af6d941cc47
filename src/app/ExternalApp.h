#pragma once

#include <QString>
#include <optional>
#include <vector>

// A terminal or editor the user can hand folders and files to, known by its
// desktop id (without the ".desktop" suffix for the known ones).
struct ExternalApp {
    QString name;
    QString desktopId;

    bool operator==(const ExternalApp&) const = default;

    bool isInstalled() const;

    // The stored choice when it is installed (a known entry, or else the
    // application under its own name); otherwise the first installed known one.
    static std::optional<ExternalApp> preferred(const std::vector<ExternalApp>& known,
                                                const std::optional<QString>& identifier);

    // Desktop ids compare without their ".desktop" suffix.
    static QString bareId(const QString& desktopId);
};
