#pragma once

#include "preview/FilePreview.h"

#include <QWidget>
#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>

class FileCard;
class ImagePreview;
class MediaPreview;
class PdfPreview;
class PreviewWebPage;
class QLabel;
class QStackedLayout;
class QStackedWidget;
class QTimer;
class QWebEngineLoadingInfo;
class QWebEngineView;
class TextPreview;
struct PreviewContent;

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
    // Shows the file, or the placeholder for none, unless that is what was asked
    // last: a selection that moves within one file loads nothing again.
    void follow(const std::optional<std::filesystem::path>& file);
    // The view on screen (placeholder, page, text, a viewer or the card).
    QWidget* currentView() const;

Q_SIGNALS:
    // A relative link in a page pointed at this file: the pane selects it.
    void fileLinkActivated(const std::filesystem::path& target);
    // The requested file is on screen (page loaded, image drawn, card shown).
    void fileShown(const std::filesystem::path& file);

private:
    void startLoading(const std::filesystem::path& file, std::optional<PreviewKind> kind);
    void loadInViewer(PreviewViewer kind, const std::filesystem::path& file);
    template <typename Viewer>
    Viewer* made(Viewer*& slot);
    void applyContent(const PreviewContent& content);
    void showCard(const QString& message);
    void expect(QWidget* view);
    void viewShown(QWidget* view, const std::filesystem::path& file);
    void viewFailed(QWidget* view, const std::filesystem::path& file, const QString& message);
    void webLoadingChanged(const QWebEngineLoadingInfo& info);
    void webPageLoaded();
    void switchTo(QWidget* view);
    void release(QWidget* view);
    void ensureWebView();
    void applyZoom();
    QString pagePrefix() const;

    QStackedLayout* m_layers = nullptr; // the views over the web view
    QStackedWidget* m_stack;
    QLabel* m_placeholder;
    TextPreview* m_text;
    ImagePreview* m_image = nullptr;
    PdfPreview* m_pdf = nullptr;
    MediaPreview* m_media = nullptr;
    FileCard* m_card;
    QTimer* m_webWatchdog;
    QWebEngineView* m_web = nullptr;
    PreviewWebPage* m_page = nullptr;

    // Shared with the work in flight, which gives up once it no longer matches.
    std::shared_ptr<std::atomic<quint64>> m_generation;
    std::optional<std::filesystem::path> m_file; // asked for last; none: the placeholder
    QWidget* m_expected = nullptr;               // the view that will show the requested file
    std::filesystem::path m_expectedPage;        // the page the web view is loading
    int m_serial;
};
