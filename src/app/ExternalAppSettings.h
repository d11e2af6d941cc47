#pragma once

#include "app/ExternalApp.h"
#include "browser/apps/ApplicationChooser.h"
#include "platform/DesktopApps.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QPointer>
#include <functional>
#include <optional>
#include <vector>

class QCheckBox;
class QComboBox;

// The "ターミナルとエディタ" group of the 連携 page: the terminal and the editor that
// folders and files are handed to, and whether a terminal opens a tab. Each choice is
// written as it is made, and the lists follow changes made elsewhere. What is installed
// is looked up once each time the group is shown, never on every change.
class ExternalAppSettings : public QGroupBox {
    Q_OBJECT
public:
    explicit ExternalAppSettings(QWidget* parent = nullptr);

    QComboBox* terminalList() const { return m_terminal.box; }
    QComboBox* editorList() const { return m_editor.box; }
    // The application chooser of "その他のアプリを選ぶ…" while it is open.
    QLineEdit* chooserSearchField() const { return m_chooser ? m_chooser->searchField() : nullptr; }
    QListWidget* chooserList() const { return m_chooser ? m_chooser->list() : nullptr; }

    static QString otherAppTitle() { return QStringLiteral("その他のアプリを選ぶ…"); }
    static QString notInstalledSuffix() { return QStringLiteral("（未インストール）"); }

protected:
    void showEvent(QShowEvent* event) override;

private:
    struct Choice {
        QComboBox* box = nullptr;
        std::function<std::vector<ExternalApp>()> catalogue;
        std::function<std::optional<QString>()> stored;
        std::function<void(const QString&)> store;
        std::vector<ExternalApp> known; // as of the last look
        std::vector<bool> installed;
    };

    QComboBox* makeList(Choice& choice, const QString& name);
    void lookAgain();
    void fill(Choice& choice);
    void activated(Choice& choice, int index);
    void chooseOther(Choice& choice);
    const std::vector<DesktopApps::Application>& applications();

    Choice m_terminal;
    Choice m_editor;
    QCheckBox* m_newTab = nullptr;
    // Every application, read when the chooser first opens during a showing.
    std::optional<std::vector<DesktopApps::Application>> m_applications;
    bool m_lookedSinceShown = false;
    QPointer<ApplicationChooser> m_chooser;
};
