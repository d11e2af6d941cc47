// Times what a person waits for in a huge folder: from navigation to the first
// painted rows, re-sorting in place, and repainting while scrolling.
// Usage: PaneFirstPaint DIR [RUNS]
#include "app/Application.h"
#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "core/Location.h"
#include "files/DirectoryReader.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QScrollBar>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

// Quits the loop at the first paint of the list that has rows in it.
class FirstPaintWatcher : public QObject {
public:
    FirstPaintWatcher(PaneView& pane, QEventLoop& loop)
        : m_pane(pane)
        , m_loop(loop)
    {
    }
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Paint && m_pane.model()->rowCount() > 0)
            QMetaObject::invokeMethod(&m_loop, "quit", Qt::QueuedConnection);
        return QObject::eventFilter(watched, event);
    }

private:
    PaneView& m_pane;
    QEventLoop& m_loop;
};

double timeResort(PaneView& pane, FileSortKey key)
{
    QElapsedTimer timer;
    timer.start();
    pane.model()->resort(FileSort{key, true});
    pane.listView()->viewport()->repaint();
    return double(timer.nsecsElapsed()) / 1e6;
}

double worstScrollFrame(PaneView& pane)
{
    QScrollBar* bar = pane.listView()->verticalScrollBar();
    double worst = 0;
    for (int step = 0; step <= 100; ++step) {
        QElapsedTimer timer;
        timer.start();
        bar->setValue(bar->maximum() * step / 100);
        pane.listView()->viewport()->repaint();
        worst = std::max(worst, double(timer.nsecsElapsed()) / 1e6);
    }
    return worst;
}

} // namespace

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    Application::configure();
    if (argc < 2) {
        std::fprintf(stderr, "usage: PaneFirstPaint DIR [RUNS]\n");
        return 2;
    }
    const Location folder = Location::folder(argv[1]);
    const int runs = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    std::vector<double> readAlone, paint, bySize, byKind, byName, scroll;
    int rows = 0;
    for (int run = 0; run < runs; ++run) {
        QEventLoop loop;
        QElapsedTimer timer;
        timer.start();
        (void)DirectoryReader::read(folder.path(), false);
        readAlone.push_back(double(timer.nsecsElapsed()) / 1e6);
        timer.restart();
        auto* pane = new PaneView(folder);
        FirstPaintWatcher watcher(*pane, loop);
        pane->listView()->viewport()->installEventFilter(&watcher);
        pane->resize(1000, 700);
        pane->show();
        loop.exec();
        paint.push_back(double(timer.nsecsElapsed()) / 1e6);
        rows = pane->model()->rowCount();
        bySize.push_back(timeResort(*pane, FileSortKey::size));
        byKind.push_back(timeResort(*pane, FileSortKey::kind));
        byName.push_back(timeResort(*pane, FileSortKey::name));
        scroll.push_back(worstScrollFrame(*pane));
        delete pane;
    }
    std::printf("rows: %d, runs: %d (medians)\n", rows, runs);
    std::printf("reading the folder alone:         %8.1f ms\n", median(readAlone));
    std::printf("navigation to first painted rows: %8.1f ms\n", median(paint));
    std::printf("re-sort in place by size:         %8.1f ms\n", median(bySize));
    std::printf("re-sort in place by kind:         %8.1f ms\n", median(byKind));
    std::printf("re-sort in place by name:         %8.1f ms\n", median(byName));
    std::printf("worst repaint while scrolling:    %8.1f ms\n", median(scroll));
    return 0;
}
