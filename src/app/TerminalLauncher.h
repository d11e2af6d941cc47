#pragma once

#include "app/ExternalApp.h"

#include <QStringList>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The user's terminal: which one, and how a folder is opened in it.
class TerminalLauncher {
public:
    // Terminals whose command line Quillo knows; Other gets only a working directory.
    enum class Kind {
        Other,
        GnomeTerminal,
        GnomeConsole,
        Konsole,
        XfceTerminal,
        Kitty,
        WezTerm,
        Ghostty,
        Foot,
        Alacritty,
        Xterm
    };

    // Bytes throughout, so a folder whose name is not UTF-8 arrives intact.
    struct Command {
        std::filesystem::path program;
        std::vector<std::string> arguments;
        std::filesystem::path workingDirectory;
        bool operator==(const Command&) const = default;
    };

    // What the catalogue is built from; fromEnvironment() reads the real ones.
    struct Inputs {
        std::vector<std::filesystem::path> configDirs; // XDG_CONFIG_HOME first
        QStringList desktops;                          // lower-cased XDG_CURRENT_DESKTOP
        std::filesystem::path alternative;             // Debian's x-terminal-emulator link
        std::function<bool(const QString&)> installed;
        std::function<QString(const QString&)> displayName;
        static Inputs fromEnvironment();
    };

    // Known terminals in fallback order, each under its installed desktop id.
    static std::vector<ExternalApp> catalogue(const Inputs& inputs);
    static std::vector<ExternalApp> catalogue();

    // The terminal in use, looked up again at most every few seconds.
    static std::optional<ExternalApp> selected(const std::optional<QString>& identifier);

    // Why ターミナルで開く does nothing with the stored choice; empty when a terminal is there.
    static QString unavailableReason();

    static Kind kindOf(const QString& desktopId, const std::filesystem::path& program);
    static bool opensTabs(Kind kind);

    // The process to start for the folder; newTab asks for a tab of a running one,
    // which kitty opens only through its remote-control socket.
    static Command command(Kind kind, const std::filesystem::path& program,
                           const std::filesystem::path& folder, bool newTab,
                           const QString& kittySocket = {});

    // The socket of the running kitty with this process id, when its configuration
    // allows remote control on a socket that exists ("unix:PATH"), else empty.
    static QString kittySocket(const std::filesystem::path& configFile, int pid);

    // Opens the folder in the chosen terminal, looking afresh at what is installed;
    // false when none is or it could not be started.
    static bool open(const std::filesystem::path& folder, const std::optional<QString>& identifier,
                     bool newTab);
};
