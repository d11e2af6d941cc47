#include "files/WindowModel.h"

#include "core/MainThread.h"
#include "files/PaneState.h"

WindowModel::WindowModel(PaneState* activePane, QObject* parent)
    : QObject(parent)
    , m_activePane(activePane)
{
}

void WindowModel::setActivePane(PaneState* pane)
{
    QUILLO_ASSERT_MAIN_THREAD();
    if (m_activePane == pane)
        return;
    m_activePane = pane;
    Q_EMIT activePaneChanged(pane);
}
