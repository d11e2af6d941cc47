#pragma once

#include "operations/Alert.h"
#include "platform/Error.h"

#include <QObject>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

// コマンドラインツールをインストール…: writes `quillo`, a /bin/sh launcher that hands
// folders and files to this Quillo by their physical paths.
class CommandLineTool : public QObject {
    Q_OBJECT
public:
    // What the installation depends on; fromEnvironment() reads the real ones.
    struct Inputs {
        std::filesystem::path systemFolder; // "/usr/local/bin", taken when writable
        std::filesystem::path home;         // else its ".local/bin"
        std::filesystem::path binary;       // the Quillo the launcher runs
        std::string path;                   // $PATH
        std::string shell;                  // $SHELL
        static Inputs fromEnvironment();
    };

    // The launcher's second line; a `quillo` that has it is ours to replace.
    static constexpr std::string_view kComment =
        "# quillo: 指定したフォルダやファイル（省略時は今いるフォルダ）を Quillo で開く";

    explicit CommandLineTool(Inputs inputs = Inputs::fromEnvironment(), QObject* parent = nullptr);

    // The system folder when it is writable, else ~/.local/bin (made when written).
    std::filesystem::path installationDirectory() const;

    // The launcher that starts `binary` once with every target as a physical path.
    static std::string script(const std::filesystem::path& binary);

    // Writes the launcher and tells how it went in an alert; a `quillo` that is not
    // ours is replaced only when the person agrees. `done` runs on the main thread
    // once the last alert is answered, with whether the launcher was written; the
    // tool must live until then.
    void install(std::shared_ptr<Prompter> prompter, std::function<void(bool)> done = {});

    // The success alert's text for `folder`; `folderOnPath` leaves out the PATH hint.
    QString successText(const std::filesystem::path& folder, bool folderOnPath) const;

private:
    void write(const std::filesystem::path& folder, bool onPath,
               const std::shared_ptr<Prompter>& prompter, const std::function<void(bool)>& done);

    Inputs m_inputs;
};
