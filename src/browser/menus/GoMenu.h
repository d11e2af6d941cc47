#pragma once

#include <filesystem>
#include <optional>

class BrowserWindow;
class PaneView;

// The 移動 menu: history, parent, the other pane, the standard folders and the
// path field. Folders that do not exist leave their items disabled.
namespace GoMenu {

void build(BrowserWindow& window);

// The first selected folder of the pane, from its listing (no disk access).
std::optional<std::filesystem::path> selectedFolder(const PaneView& pane);

} // namespace GoMenu
