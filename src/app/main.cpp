#include "app/Application.h"
#include "core/Location.h"
#include "core/PathText.h"

#include <QApplication>
#include <filesystem>

int main(int argc, char** argv)
{
    QApplication qtApp(argc, argv);
    Application::configure();
    Application app;
    // Paths on the command line are taken as raw bytes from argv, not through QString.
    bool opened = false;
    for (int i = 1; i < argc; ++i) {
        if (argv[i][0] == '-')
            continue;
        std::filesystem::path path(argv[i]);
        if (path.is_relative())
            path = std::filesystem::current_path() / path;
        app.openWindow(Location::folder(path));
        opened = true;
    }
    if (!opened)
        app.openWindow(Location::folder(PathText::homeFolder()));
    return qtApp.exec();
}
