#include "app/EditorLauncher.h"

#include "core/Preferences.h"
#include "platform/DesktopApps.h"

namespace {

struct Known {
    const char* name;
    std::vector<const char*> ids; // the ids different packagers give it
};

const std::vector<Known>& knownEditors()
{
    static const std::vector<Known> list{
        {"Visual Studio Code", {"code", "com.visualstudio.code", "visual-studio-code"}},
        {"Cursor", {"cursor", "co.anysphere.cursor"}},
        {"Zed", {"dev.zed.Zed", "zed"}},
        {"Kate", {"org.kde.kate"}},
        {"GNOME Text Editor", {"org.gnome.TextEditor"}},
        {"gedit", {"org.gnome.gedit", "gedit"}},
        {"Sublime Text", {"sublime_text", "com.sublimetext.three"}},
    };
    return list;
}

ExternalApp::KeptChoice& keptChoice()
{
    static ExternalApp::KeptChoice kept([] { return EditorLauncher::catalogue(); });
    return kept;
}

} // namespace

std::vector<ExternalApp> EditorLauncher::catalogue()
{
    std::vector<ExternalApp> list;
    for (const Known& known : knownEditors()) {
        ExternalApp app{QLatin1String(known.name), QLatin1String(known.ids.front())};
        for (const char* id : known.ids)
            if (DesktopApps::isInstalled(QLatin1String(id))) {
                app.desktopId = QLatin1String(id);
                break;
            }
        list.push_back(app);
    }
    return list;
}

std::optional<ExternalApp> EditorLauncher::selected(const std::optional<QString>& identifier)
{
    return keptChoice().get(identifier);
}

QString EditorLauncher::unavailableReason()
{
    if (selected(Preferences::shared().editorIdentifier()))
        return {};
    return QStringLiteral("エディタが見つかりません。設定の「連携」で使うアプリを選んでください。");
}

bool EditorLauncher::open(const std::vector<std::filesystem::path>& paths,
                          const std::optional<QString>& identifier)
{
    if (paths.empty())
        return false;
    const std::optional<ExternalApp> editor = keptChoice().fresh(identifier);
    return editor && DesktopApps::launch(editor->desktopId, paths);
}
