#pragma once

#include <QWidget>

class PaneState;
class QLabel;

// Item count, selection count, Git branch with its change count, and free space
// of one pane, redrawn from its state.
class PaneStatusBar : public QWidget {
    Q_OBJECT
public:
    explicit PaneStatusBar(PaneState& state, QWidget* parent = nullptr);

    // The texts shown, for the window and for tests.
    QString text() const;

private:
    void update();

    PaneState& m_state;
    QLabel* m_counts = nullptr;
    QLabel* m_git = nullptr;
    QLabel* m_free = nullptr;
};
