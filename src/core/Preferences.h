#pragma once

#include "core/FileSort.h"

#include <QMap>
#include <QObject>
#include <optional>

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

    // Tags also written to each item's "user.xdg.tags" extended attribute.
    bool mirrorTagsToAttributes() const;
    void setMirrorTagsToAttributes(bool on);

    bool vimKeyBindings() const;
    void setVimKeyBindings(bool on);

    // Ask before copying or moving to the other pane; "今後は確認しない" turns it off.
    bool confirmPaneTransfer() const;
    void setConfirmPaneTransfer(bool on);

    bool checkForUpdates() const;
    void setCheckForUpdates(bool on);

    // The desktop ids of the chosen terminal and editor; nullopt when none was chosen.
    std::optional<QString> terminalIdentifier() const;
    void setTerminalIdentifier(const QString& desktopId);
    std::optional<QString> editorIdentifier() const;
    void setEditorIdentifier(const QString& desktopId);
    bool openTerminalInNewTab() const;
    void setOpenTerminalInNewTab(bool on);

    // The version the user chose to skip at the launch check.
    std::optional<QString> skippedUpdateVersion() const;
    void setSkippedUpdateVersion(const QString& version);
    // "今後確認しない" on the offer to move Quillo to its applications folder.
    bool suppressMoveToApplications() const;
    void setSuppressMoveToApplications(bool on);

    bool markdownPreview() const;
    void setMarkdownPreview(bool on);

    // Greater than zero.
    double previewZoom() const;
    void setPreviewZoom(double zoom);

    // The preview's share of the pane width, strictly between 0 and 1.
    double markdownPreviewFraction() const;
    void setMarkdownPreviewFraction(double fraction);

    // Default-application handlers we replaced, by MIME type, so they can be put back.
    QMap<QString, QString> previousFileHandlers() const;
    void setPreviousFileHandlers(const QMap<QString, QString>& handlers);

    // Reads a Boolean key, accepting the text forms an INI file gives back.
    static bool boolValue(const QString& key, bool fallback);
    // Reads a finite real, accepting the text an INI file gives back.
    static std::optional<double> realValue(const QString& key);

Q_SIGNALS:
    // Any setting that changes what a listing shows: hidden files, sort, sizes, tints.
    void displayPreferencesChanged();
    // Every real change of a key, display or not, so open settings views stay current.
    void changed(const QString& key);

private:
    Preferences() = default;
    void setBool(const QString& key, bool value, bool fallback, bool display);
    void setReal(const QString& key, double value, double current);
    // An empty text removes the key.
    void setText(const QString& key, const QString& value);
};
