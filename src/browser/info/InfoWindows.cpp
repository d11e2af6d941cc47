#include "browser/info/InfoWindows.h"

#include "browser/info/InfoSummaryWindow.h"
#include "browser/info/InfoWindow.h"
#include "core/PathText.h"

#include <QApplication>

namespace fs = std::filesystem;

namespace InfoWindows {

namespace {

InfoWindow* openWindowFor(const fs::path& item)
{
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        auto* window = qobject_cast<InfoWindow*>(widget);
        if (window && window->item() == item && window->facts().exists)
            return window;
    }
    return nullptr;
}

void present(QWidget* window)
{
    window->show();
    window->raise();
    window->activateWindow();
}

} // namespace

std::vector<QWidget*> open(const std::vector<fs::path>& items, QWidget* parent)
{
    std::vector<QWidget*> windows;
    if (items.size() > kMaxItemWindows) {
        windows.push_back(new InfoSummaryWindow(items, parent));
        present(windows.back());
        return windows;
    }
    for (const fs::path& item : items) {
        const fs::path path = PathText::standardized(item);
        QWidget* window = openWindowFor(path);
        if (!window)
            window = new InfoWindow(path, parent);
        present(window);
        windows.push_back(window);
    }
    return windows;
}

} // namespace InfoWindows
