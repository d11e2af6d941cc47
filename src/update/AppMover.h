#pragma once

#include "operations/Alert.h"
#include "platform/Error.h"

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Offers, once per start, to move a Quillo bundle that runs from elsewhere into
// ~/Applications (or $QUILLO_MOVE_DEST), then starts Quillo again from there. A bundle
// that is only visiting (removable media, a read-only volume, a temporary folder) is
// copied instead, since it may vanish while Quillo runs from it.
class AppMover : public QObject {
    Q_OBJECT
public:
    struct Setup {
        std::filesystem::path bundle;      // the running bundle (Quillo/); empty: none
        std::filesystem::path destination; // $QUILLO_MOVE_DEST, else ~/Applications
        std::filesystem::path home;
        std::optional<std::string> answer; // $QUILLO_MOVE_ANSWER: "move" moves, else not
        std::vector<std::filesystem::path> transientRoots; // removable and temporary places
        std::filesystem::path entryFolder;                 // where the desktop entry goes
        std::filesystem::path scriptFolder;                // where the relaunch script is written
        int processId = 0;                                 // the relaunch waits for it to end
        // Everything else from the environment and the running process.
        static Setup fromEnvironment(const std::filesystem::path& bundle);
    };

    explicit AppMover(Setup setup, QObject* parent = nullptr);

    // `done` runs exactly once on the main thread: before this returns when there is
    // nothing to offer or $QUILLO_MOVE_ANSWER declines; otherwise after the answer and
    // the move. With true, Quillo has been placed and a script waits for this process
    // to end to start it from there: quit now. The mover must live until `done` runs.
    void offerIfNeeded(std::shared_ptr<Prompter> prompter, std::function<void(bool)> done);

    // The bundle lies below the destination or below the home folder's "Applications".
    static bool isInApplicationsFolder(const std::filesystem::path& bundle,
                                       const std::filesystem::path& destination,
                                       const std::filesystem::path& home);
    // The bundle lies below one of the roots or on a read-only file system.
    static bool isTransient(const std::filesystem::path& bundle,
                            const std::vector<std::filesystem::path>& roots);

    // The question; `location` is the folder the bundle runs from.
    static Alert makeAlert(bool transient, const std::filesystem::path& location);
    static Alert failureAlert(const Error& error);

    // Puts the bundle into `folder` under its own name, after sending what has that name
    // there to the Trash (brought back when the bundle cannot follow). Gives the new place.
    static Result<std::filesystem::path> install(const std::filesystem::path& bundle,
                                                 const std::filesystem::path& folder,
                                                 bool keepOriginal);

    // The bundle's desktop entry (its text `bundled`, may be empty) made to run `binary`,
    // with the bundle's own icon file when there is one (no theme knows its name).
    static std::string desktopEntry(const std::string& bundled, const std::filesystem::path& binary,
                                    const std::filesystem::path& icon = {});

private:
    bool offerApplies() const;
    void move(bool transient, const std::shared_ptr<Prompter>& prompter,
              const std::function<void(bool)>& done);

    Setup m_setup;
};
