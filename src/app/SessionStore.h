#pragma once

#include "files/PaneLayout.h"

#include <QByteArray>
#include <QRect>
#include <QString>
#include <functional>
#include <optional>
#include <vector>

// One browser window as saved at quit: its frame, its tabs and which tab was selected.
struct SavedWindow {
    QString frame; // "{{x, y}, {w, h}}"
    std::vector<PaneLayout> tabs;
    int selectedIndex = 0;

    bool operator==(const SavedWindow&) const = default;
};

// The saved session: a JSON array of windows, front-most first, kept under
// "savedWindows.v2" in the standard settings file even when a suite is chosen.
namespace SessionStore {

inline constexpr const char* kKey = "savedWindows.v2";

QByteArray encode(const std::vector<SavedWindow>& windows);
// nullopt when the data is not such an array or any window lacks a key.
std::optional<std::vector<SavedWindow>> decode(const QByteArray& data);

QString frameText(const QRect& frame);
// nullopt for text that does not hold two pairs, or an empty size.
std::optional<QRect> frameFromText(const QString& text);

// The windows that can still be shown: panes on missing folders are pruned, a
// tag location that does not parse becomes the home folder, tabs without panes
// and windows without tabs are dropped, a selection out of range becomes 0.
std::vector<SavedWindow> restorable(std::vector<SavedWindow> windows,
                                    const std::function<bool(const QString&)>& folderExists);
// Whether the folder named by a location text exists; tag locations always do.
bool locationExists(const QString& text);

std::optional<std::vector<SavedWindow>> load();
void save(const std::vector<SavedWindow>& windows);

} // namespace SessionStore
