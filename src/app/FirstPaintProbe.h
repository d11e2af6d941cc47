#pragma once

#include <QElapsedTimer>
#include <QObject>

class PaneView;

// For bench/startup.sh: with QUILLO_REPORT_FIRST_PAINT set, prints the milliseconds
// from the start of main to the first paint of a listing that has rows, and exits.
class FirstPaintProbe : public QObject {
    Q_OBJECT
public:
    static void installIfAsked(PaneView* pane, const QElapsedTimer& sinceStart);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    FirstPaintProbe(PaneView* pane, const QElapsedTimer& sinceStart);
    void report() const;

    PaneView* m_pane;
    QElapsedTimer m_sinceStart;
    bool m_reported = false;
};
