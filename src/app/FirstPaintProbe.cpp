#include "app/FirstPaintProbe.h"

#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "files/PaneState.h"

#include <QEvent>
#include <QTimer>
#include <cstdio>
#include <cstdlib>

FirstPaintProbe::FirstPaintProbe(PaneView* pane, const QElapsedTimer& sinceStart)
    : QObject(pane)
    , m_pane(pane)
    , m_sinceStart(sinceStart)
{
}

void FirstPaintProbe::installIfAsked(PaneView* pane, const QElapsedTimer& sinceStart)
{
    if (!pane || !qEnvironmentVariableIsSet("QUILLO_REPORT_FIRST_PAINT"))
        return;
    pane->listView()->viewport()->installEventFilter(new FirstPaintProbe(pane, sinceStart));
}

bool FirstPaintProbe::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::Paint && !m_reported && !m_pane->state().isLoading() &&
        m_pane->model()->rowCount() > 0) {
        m_reported = true;
        // Reported once this paint is done and on its way to the screen.
        QTimer::singleShot(0, this, &FirstPaintProbe::report);
    }
    return QObject::eventFilter(watched, event);
}

void FirstPaintProbe::report() const
{
    std::printf("%lld\n", static_cast<long long>(m_sinceStart.elapsed()));
    std::fflush(stdout);
    std::_Exit(0);
}
