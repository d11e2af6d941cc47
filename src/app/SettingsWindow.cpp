#include "app/SettingsWindow.h"

#include "app/AppearanceSettingsPage.h"
#include "app/ExternalAppSettings.h"
#include "app/GeneralSettingsPage.h"
#include "browser/settings/IntegrationSettingsPage.h"
#include "browser/settings/ShortcutSettingsPage.h"
#include "browser/settings/TagManagerWidget.h"
#include "tags/TagStore.h"

#include <QKeyEvent>
#include <QPointer>
#include <QTabWidget>
#include <QVBoxLayout>

namespace {
QPointer<SettingsWindow> g_shared;
} // namespace

SettingsWindow::SettingsWindow(QWidget* parent)
    : QWidget(parent, Qt::Window)
    , m_tabs(new QTabWidget(this))
{
    setWindowTitle(QStringLiteral("設定"));
    m_tabs->addTab(new GeneralSettingsPage(m_tabs), QStringLiteral("一般"));
    m_tabs->addTab(new AppearanceSettingsPage(m_tabs), QStringLiteral("外観"));
    auto* integration = new IntegrationSettingsPage(m_tabs);
    integration->addGroup(new ExternalAppSettings(integration));
    m_tabs->addTab(integration, QStringLiteral("連携"));
    m_tabs->addTab(new ShortcutSettingsPage(m_tabs), QStringLiteral("ショートカット"));
    m_tabs->addTab(new TagManagerWidget(TagStore::shared(), m_tabs), QStringLiteral("タグ"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_tabs);
    setMinimumWidth(480);
}

void SettingsWindow::showShared()
{
    if (!g_shared)
        g_shared = new SettingsWindow;
    g_shared->show();
    g_shared->raise();
    g_shared->activateWindow();
}

SettingsWindow* SettingsWindow::sharedIfOpen()
{
    return g_shared;
}

void SettingsWindow::keyPressEvent(QKeyEvent* event)
{
    // Reaches here only when the focused control has no use for Escape.
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}
