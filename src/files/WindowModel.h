#pragma once

#include <QObject>
#include <QPointer>

class PaneState;

// Which pane of a window has the focus; the toolbar and the title follow it.
class WindowModel : public QObject {
    Q_OBJECT
public:
    explicit WindowModel(PaneState* activePane, QObject* parent = nullptr);

    PaneState* activePane() const { return m_activePane; }
    void setActivePane(PaneState* pane);

Q_SIGNALS:
    void activePaneChanged(PaneState* pane);

private:
    QPointer<PaneState> m_activePane;
};
