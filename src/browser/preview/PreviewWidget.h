#pragma once

#include <QWidget>
#include <filesystem>
#include <optional>

// Shows one file: a page (Markdown, HTML, CSV), an image, a PDF, audio or video,
// plain text, or a card with the file's icon and facts. Reading and rendering run
// off the main thread; a newer request drops older ones. Follows the "previewZoom"
// setting. Used by the preview beside each pane and by Quick Look.
class PreviewWidget : public QWidget {
    Q_OBJECT
public:
    explicit PreviewWidget(QWidget* parent = nullptr);
    ~PreviewWidget() override;

    // Shows the file; returns at once.
    void showFile(const std::filesystem::path& file);
    // A quiet placeholder (folders, several items, nothing selected).
    void showPlaceholder();
    std::optional<std::filesystem::path> shownFile() const;

Q_SIGNALS:
    // A relative link in a page pointed at this file: the pane selects it.
    void fileLinkActivated(const std::filesystem::path& target);
    // The requested file is on screen (page loaded, image drawn, card shown).
    void fileShown(const std::filesystem::path& file);
};
