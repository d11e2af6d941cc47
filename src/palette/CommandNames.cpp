#include "palette/CommandNames.h"

#include <QHash>

namespace {

// Several keywords on purpose: a query for any synonym hits a word start.
const QHash<QString, QString>& englishNames()
{
    static const QHash<QString, QString> names = {
        {"newWindow:", "New Window"},
        {"newWindowForTab:", "New Tab"},
        {"reopenClosedTab:", "Reopen Closed Tab"},
        {"newFolder:", "New Folder"},
        {"newFile:", "New File"},
        {"openSelection:", "Open"},
        {"renameSelection:", "Rename"},
        {"duplicate:", "Duplicate"},
        {"toggleQuickLook:", "Quick Look Preview"},
        {"moveToTrash:", "Move to Trash Delete"},
        {"deleteImmediately:", "Delete Immediately"},
        {"copyToOtherPane:", "Copy to Other Pane"},
        {"moveToOtherPane:", "Move to Other Pane"},
        {"addToSidebar:", "Add to Favorites Sidebar Bookmark Star"},
        {"performClose:", "Close"},
        {"undo:", "Undo"},
        {"redo:", "Redo"},
        {"cut:", "Cut"},
        {"copy:", "Copy"},
        {"paste:", "Paste"},
        {"moveHere:", "Move Item Here"},
        {"selectAll:", "Select All"},
        {"toggleHiddenFiles:", "Show Hidden Files Dotfiles"},
        {"toggleSidebar:", "Toggle Sidebar"},
        {"toggleSplit:", "Split Dual Pane"},
        {"splitRight:", "Split Right Pane"},
        {"splitDown:", "Split Down Pane"},
        {"closePane:", "Close Pane"},
        {"switchPane:", "Switch Pane"},
        {"syncOtherPane:", "Sync Other Pane Same Folder"},
        {"swapPanes:", "Swap Panes"},
        {"toggleFullScreen:", "Full Screen"},
        {"goBack:", "Back"},
        {"goForward:", "Forward"},
        {"goToParent:", "Enclosing Folder Parent Up"},
        {"openInLeftPane:", "Open in Left Pane"},
        {"openInRightPane:", "Open in Right Pane"},
        {"goToHome:", "Home"},
        {"goToDesktop:", "Desktop"},
        {"goToDocuments:", "Documents"},
        {"goToDownloads:", "Downloads"},
        {"goToApplications:", "Applications"},
        {"editPath:", "Go to Folder Path"},
        {"connectToServer:", "Connect to Server"},
        {"openInTerminal:", "Open in Terminal"},
        {"openInEditor:", "Open in Editor"},
        {"openRepositoryInEditor:", "Open Repository Root in Editor"},
        {"copyPath:", "Copy Path"},
        {"beginFilter:", "Filter Find Search"},
        {"editTags:", "Edit Tags Label"},
        {"zoomInPreview:", "Zoom In Preview"},
        {"zoomOutPreview:", "Zoom Out Preview"},
        {"resetPreviewZoom:", "Actual Size Reset Zoom Preview"},
        {"sortBy:", "Sort By Order"},
        {"toggleSortDirection:", "Sort Descending Ascending Reverse"},
        {"toggleFilePreview:", "Preview Markdown HTML"},
        {"toggleFavoriteFolder:", "Favorite Star Bookmark"},
        {"bulkRename:", "Batch Rename Multiple"},
        {"makeSymbolicLink:", "Make Symbolic Link Symlink Alias"},
        {"compress:", "Compress Zip Archive"},
        {"expandArchive:", "Expand Unzip Extract Archive"},
        {"showInfo:", "Get Info Inspector Properties"},
        {"copyTildePath:", "Copy Path with Tilde"},
        {"copyRelativePath:", "Copy Relative Path from Git Root"},
        {"copyShellQuotedPath:", "Copy Shell Quoted Path"},
        {"showSettings:", "Settings Preferences"},
        {"checkForUpdates:", "Check for Updates Upgrade"},
        {"installCommandLineTool:", "Install Command Line Tool Shell"},
        {"terminate:", "Quit"},
        {"hide:", "Hide"},
        {"performMiniaturize:", "Minimize"},
        {"performZoom:", "Zoom"},
    };
    return names;
}

} // namespace

namespace CommandNames {

QString english(const QString& action)
{
    return englishNames().value(action);
}

bool isExcluded(const QString& action)
{
    static const QStringList excluded = {
        "togglePalette:",         "orderFrontStandardAboutPanel:", "arrangeInFront:",
        "unhideAllApplications:", "hideOtherApplications:",        "makeKeyAndOrderFront:",
    };
    return excluded.contains(action);
}

} // namespace CommandNames
