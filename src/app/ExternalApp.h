#pragma once

#include <QString>
#include <chrono>
#include <functional>
#include <mutex>
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

    // Makes every kept choice look again at what is installed.
    static void forgetInstalledState();

    class KeptChoice;
};

// `preferred` over a catalogue, kept for a few seconds per stored identifier: the
// menus ask on every opening, and a catalogue reads desktop entries and files.
class ExternalApp::KeptChoice {
public:
    using Catalogue = std::function<std::vector<ExternalApp>()>;
    explicit KeptChoice(Catalogue catalogue);

    std::optional<ExternalApp> get(const std::optional<QString>& identifier);
    // Looks again now and keeps what it finds.
    std::optional<ExternalApp> fresh(const std::optional<QString>& identifier);

private:
    Catalogue m_catalogue;
    std::mutex m_mutex;
    bool m_valid = false;
    std::optional<QString> m_identifier;
    std::optional<ExternalApp> m_choice;
    std::chrono::steady_clock::time_point m_madeAt;
    unsigned m_generation = 0;
};
