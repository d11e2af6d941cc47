#pragma once

#include "operations/Alert.h"
#include "platform/DesktopApps.h"

#include <QMenu>
#include <QPointer>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

// "このアプリケーションで開く" for a selection of files: the applications registered for
// their type (the default first), the chooser over every application, and a submenu that
// makes one the default for the type before opening. Files of several types list the
// applications that take every one of them; a default is then only set for one type at a
// time, so "常にこのアプリケーションで開く" is offered for a single type only.
// The applications are looked up when the submenu is about to show, not on every right
// click. Opening and writing run off the main thread; failures are alerts on the window.
class OpenWithMenu : public QMenu {
    Q_OBJECT
public:
    using PrompterSource = std::function<std::shared_ptr<Prompter>()>;

    // `window` is where the chooser and the alerts show; it outlives this menu.
    OpenWithMenu(std::vector<std::filesystem::path> files, QWidget* window, PrompterSource prompter,
                 QWidget* parent = nullptr);

    static QString title() { return QStringLiteral("このアプリケーションで開く"); }
    static QString otherTitle() { return QStringLiteral("その他のアプリケーション…"); }
    static QString alwaysTitle() { return QStringLiteral("常にこのアプリケーションで開く"); }
    static QString defaultSuffix() { return QStringLiteral("（デフォルト）"); }

    // The type a file's name gives (the content is not read), "application/octet-stream"
    // when the name says nothing.
    static QString mimeTypeOf(const std::filesystem::path& file);

    QMenu* alwaysMenu() const { return m_always; }

private:
    void fill();
    void addApplications(QMenu& menu, bool makeDefault);
    void chooseOther(bool makeDefault);

    std::vector<std::filesystem::path> m_files;
    QPointer<QWidget> m_window;
    PrompterSource m_prompter;
    QMenu* m_always = nullptr;
    QStringList m_types;
    std::vector<DesktopApps::Application> m_applications;
    std::optional<QString> m_default;
    bool m_filled = false;
};
