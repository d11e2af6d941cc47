#include "app/ExternalAppSettings.h"

#include "app/EditorLauncher.h"
#include "app/TerminalLauncher.h"
#include "core/Preferences.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QStandardItemModel>
#include <QVBoxLayout>

namespace {

const QString kTerminalKey = QStringLiteral("terminalBundleIdentifier");
const QString kEditorKey = QStringLiteral("editorBundleIdentifier");
const QString kNewTabKey = QStringLiteral("openTerminalInNewTab");

void addEntry(QComboBox* box, const QString& text, const QString& id, bool enabled)
{
    box->addItem(text, id);
    static_cast<QStandardItemModel*>(box->model())->item(box->count() - 1)->setEnabled(enabled);
}

} // namespace

ExternalAppSettings::ExternalAppSettings(QWidget* parent)
    : QGroupBox(QStringLiteral("ターミナルとエディタ"), parent)
{
    Preferences& p = Preferences::shared();
    m_terminal.catalogue = [] { return TerminalLauncher::catalogue(); };
    m_terminal.stored = [&p] { return p.terminalIdentifier(); };
    m_terminal.store = [&p](const QString& id) { p.setTerminalIdentifier(id); };
    m_editor.catalogue = [] { return EditorLauncher::catalogue(); };
    m_editor.stored = [&p] { return p.editorIdentifier(); };
    m_editor.store = [&p](const QString& id) { p.setEditorIdentifier(id); };

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("ターミナル:"),
                 makeList(m_terminal, QStringLiteral("terminalApp")));
    form->addRow(QStringLiteral("エディタ:"), makeList(m_editor, QStringLiteral("editorApp")));
    m_newTab = new QCheckBox(QStringLiteral("ターミナルを新しいタブで開く"), this);
    m_newTab->setObjectName(kNewTabKey);
    m_newTab->setChecked(p.openTerminalInNewTab());
    connect(m_newTab, &QCheckBox::clicked, this, [&p](bool on) { p.setOpenTerminalInNewTab(on); });
    auto* explanation = new QLabel(
        QStringLiteral("新しいタブで開けるのは GNOME Terminal、Konsole、Xfce Terminal、WezTerm と "
                       "kitty（リモート制御を有効にした場合）です。それ以外は新しいウィンドウで開き"
                       "ます。"),
        this);
    explanation->setWordWrap(true);
    explanation->setForegroundRole(QPalette::PlaceholderText);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(m_newTab);
    layout->addWidget(explanation);

    // A chooser in another window, or a test, may change the same keys.
    connect(&p, &Preferences::changed, this, [this, &p](const QString& key) {
        if (key == kTerminalKey)
            fill(m_terminal);
        else if (key == kEditorKey)
            fill(m_editor);
        else if (key == kNewTabKey)
            m_newTab->setChecked(p.openTerminalInNewTab());
    });
    lookAgain();
    m_lookedSinceShown = true;
}

QComboBox* ExternalAppSettings::makeList(Choice& choice, const QString& name)
{
    choice.box = new QComboBox(this);
    choice.box->setObjectName(name);
    choice.box->setPlaceholderText(QStringLiteral("見つかりません"));
    Choice* target = &choice;
    connect(choice.box, &QComboBox::activated, this,
            [this, target](int index) { activated(*target, index); });
    return choice.box;
}

void ExternalAppSettings::showEvent(QShowEvent* event)
{
    QGroupBox::showEvent(event);
    // Applications may have come or gone while the page was hidden.
    if (!m_lookedSinceShown)
        lookAgain();
    m_lookedSinceShown = false;
}

void ExternalAppSettings::lookAgain()
{
    // The menus keep their answer for a few seconds; they should agree with this page.
    ExternalApp::forgetInstalledState();
    m_applications.reset();
    for (Choice* choice : {&m_terminal, &m_editor}) {
        choice->known = choice->catalogue();
        choice->installed.clear();
        for (const ExternalApp& app : choice->known)
            choice->installed.push_back(app.isInstalled());
        fill(*choice);
    }
}

// The known ones in their order, then a chosen application that is not one of them;
// shown is the one in use, as ExternalApp::preferred picks it.
void ExternalAppSettings::fill(Choice& choice)
{
    QComboBox* box = choice.box;
    const QSignalBlocker blocker(box);
    box->clear();
    const std::optional<QString> stored = choice.stored();
    const QString storedId = stored ? ExternalApp::bareId(*stored) : QString();
    int current = -1;
    int firstInstalled = -1;
    bool storedIsKnown = false;
    for (size_t i = 0; i < choice.known.size(); ++i) {
        const ExternalApp& app = choice.known[i];
        const bool installed = choice.installed[i];
        addEntry(box, installed ? app.name : app.name + notInstalledSuffix(), app.desktopId,
                 installed);
        const bool isStored = !storedId.isEmpty() && ExternalApp::bareId(app.desktopId) == storedId;
        storedIsKnown = storedIsKnown || isStored;
        if (installed && isStored)
            current = box->count() - 1;
        if (installed && firstInstalled < 0)
            firstInstalled = box->count() - 1;
    }
    if (!storedId.isEmpty() && !storedIsKnown) {
        const std::optional<QString> name = DesktopApps::displayName(*stored);
        addEntry(box, name ? *name : storedId + notInstalledSuffix(), *stored, name.has_value());
        if (name)
            current = box->count() - 1;
    }
    box->insertSeparator(box->count());
    box->addItem(otherAppTitle());
    box->setCurrentIndex(current >= 0 ? current : firstInstalled);
}

void ExternalAppSettings::activated(Choice& choice, int index)
{
    const QVariant id = choice.box->itemData(index);
    if (index == choice.box->count() - 1) {
        fill(choice); // the list shows the one in use until another is chosen
        chooseOther(choice);
    } else if (id.isValid()) {
        choice.store(id.toString());
    }
}

const std::vector<DesktopApps::Application>& ExternalAppSettings::applications()
{
    if (!m_applications)
        m_applications = DesktopApps::allApplications();
    return *m_applications;
}

void ExternalAppSettings::chooseOther(Choice& choice)
{
    Choice* target = &choice;
    m_chooser = ApplicationChooser::choose(this, otherAppTitle(), applications(),
                                           [target](const QString& id) { target->store(id); });
}
