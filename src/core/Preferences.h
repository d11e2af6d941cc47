#pragma once

#include "core/FileSort.h"

#include <QObject>

// Typed settings over AppDefaults::store(). A getter returns the default when the
// key is missing or holds a value of another type. Lives on the main thread.
class Preferences : public QObject {
    Q_OBJECT
public:
    static Preferences& shared();

    bool showHiddenFiles() const;
    void setShowHiddenFiles(bool on);

    FileSort sort() const;
    void setSort(const FileSort& sort); // writes only on change

    bool calculateFolderSizes() const;
    void setCalculateFolderSizes(bool on);

    bool colorFoldersByTag() const;
    void setColorFoldersByTag(bool on);

    bool vimKeyBindings() const;
    void setVimKeyBindings(bool on);

    // Ask before copying or moving to the other pane; "今後は確認しない" turns it off.
    bool confirmPaneTransfer() const;
    void setConfirmPaneTransfer(bool on);

    // Reads a Boolean key, accepting the text forms an INI file gives back.
    static bool boolValue(const QString& key, bool fallback);

Q_SIGNALS:
    // Any setting that changes what a listing shows: hidden files, sort, sizes, tints.
    void displayPreferencesChanged();

private:
    Preferences() = default;
    void setBool(const QString& key, bool value, bool fallback);
};
