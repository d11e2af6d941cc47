#pragma once

#include <QWebEnginePage>
#include <filesystem>

class PreviewRequestInterceptor;

// A web page for previews: one off-the-record profile with scripts, storage,
// plugins and remote access off; loads only what PreviewRequestInterceptor allows;
// never navigates after its first load and never opens windows. Clicked links open
// in the desktop's handler (web, mail) or name a file beside the document.
class PreviewWebPage : public QWebEnginePage {
    Q_OBJECT
public:
    explicit PreviewWebPage(QObject* parent = nullptr);
    ~PreviewWebPage() override;

    // Loads `page` (a local file) whose relative links and images resolve inside
    // `folder`.
    void open(const std::filesystem::path& page, const std::filesystem::path& folder);

    PreviewRequestInterceptor* interceptor() const { return m_interceptor; }

    // Public so that tests can stand in for a click.
    bool acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame) override;

    static QWebEngineProfile* sharedProfile();
    // A file:// URL from the raw bytes of an absolute path.
    static QUrl fileUrl(const std::filesystem::path& file);

Q_SIGNALS:
    void fileLinkActivated(const std::filesystem::path& target);

protected:
    QWebEnginePage* createWindow(WebWindowType type) override;

private:
    void followLink(const QUrl& url);
    void scrollToAnchor(const QString& anchor);

    PreviewRequestInterceptor* m_interceptor;
    std::filesystem::path m_page;
    std::filesystem::path m_folder;
    bool m_loadPending = false;
};
