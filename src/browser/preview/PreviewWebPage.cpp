#include "browser/preview/PreviewWebPage.h"

#include "browser/preview/PreviewRequestInterceptor.h"
#include "core/FileUri.h"
#include "core/PathText.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QJsonArray>
#include <QJsonDocument>
#include <QWebEngineNewWindowRequest>
#include <QWebEngineProfile>
#include <QWebEngineScript>
#include <QWebEngineSettings>

namespace {

void lockDown(QWebEngineSettings* settings)
{
    using S = QWebEngineSettings;
    for (const auto attribute : {S::JavascriptEnabled,
                                 S::JavascriptCanOpenWindows,
                                 S::JavascriptCanAccessClipboard,
                                 S::JavascriptCanPaste,
                                 S::LocalStorageEnabled,
                                 S::PluginsEnabled,
                                 S::LocalContentCanAccessRemoteUrls,
                                 S::ErrorPageEnabled,
                                 S::HyperlinkAuditingEnabled,
                                 S::WebGLEnabled,
                                 S::ScreenCaptureEnabled,
                                 S::FullScreenSupportEnabled,
                                 S::FocusOnNavigationEnabled,
                                 S::AllowRunningInsecureContent,
                                 S::AllowGeolocationOnInsecureOrigins,
                                 S::AllowWindowActivationFromJavaScript,
                                 S::DnsPrefetchEnabled,
                                 S::PdfViewerEnabled,
                                 S::NavigateOnDropEnabled,
                                 S::AutoLoadIconsForPage,
                                 S::TouchIconsEnabled})
        settings->setAttribute(attribute, false);
    settings->setAttribute(S::AutoLoadImages, true);
    // Off, Qt refuses every file: URL a local page asks for, even an image beside the
    // document; on, PreviewRequestInterceptor confines them to the document's folder.
    // Scripts are off, so nothing can read what a page shows.
    settings->setAttribute(S::LocalContentCanAccessFileUrls, true);
    settings->setUnknownUrlSchemePolicy(S::DisallowUnknownUrlSchemes);
}

} // namespace

PreviewWebPage::PreviewWebPage(QObject* parent)
    : QWebEnginePage(sharedProfile(), parent)
    , m_interceptor(new PreviewRequestInterceptor(this))
{
    lockDown(settings());
    setUrlRequestInterceptor(m_interceptor);
    // A link with a target of its own asks for a window first: it is followed as a
    // click and no window opens (createWindow gives none).
    connect(this, &QWebEnginePage::newWindowRequested, this,
            [this](QWebEngineNewWindowRequest& request) {
                if (request.isUserInitiated())
                    followLink(request.requestedUrl());
            });
}

PreviewWebPage::~PreviewWebPage() = default;

QWebEngineProfile* PreviewWebPage::sharedProfile()
{
    // No storage name: off the record, nothing written to disk. Parented to the
    // application so it outlives every page.
    static QWebEngineProfile* profile = [] {
        auto* made = new QWebEngineProfile(QCoreApplication::instance());
        made->setHttpCacheType(QWebEngineProfile::MemoryHttpCache);
        made->setPersistentCookiesPolicy(QWebEngineProfile::NoPersistentCookies);
        made->setSpellCheckEnabled(false);
        lockDown(made->settings());
        return made;
    }();
    return profile;
}

QUrl PreviewWebPage::fileUrl(const std::filesystem::path& file)
{
    return QUrl(QString::fromStdString(FileUri::fromPath(file)), QUrl::StrictMode);
}

void PreviewWebPage::open(const std::filesystem::path& page, const std::filesystem::path& folder)
{
    m_page = PathText::standardized(page);
    m_folder = PathText::standardized(folder);
    m_interceptor->allow(page, folder);
    m_loadPending = true;
    load(fileUrl(page));
}

bool PreviewWebPage::acceptNavigationRequest(const QUrl& url, NavigationType type, bool isMainFrame)
{
    if (type == NavigationTypeLinkClicked) {
        followLink(url);
        return false;
    }
    if (!isMainFrame)
        return m_interceptor->admit(url);
    const auto path = PreviewRequestInterceptor::localPath(url);
    if (m_loadPending && path && *path == m_page) {
        m_loadPending = false;
        return true;
    }
    return false;
}

QWebEnginePage* PreviewWebPage::createWindow(WebWindowType)
{
    return nullptr;
}

void PreviewWebPage::followLink(const QUrl& url)
{
    const QString scheme = url.scheme();
    if (scheme == QLatin1String("http") || scheme == QLatin1String("https") ||
        scheme == QLatin1String("mailto")) {
        QDesktopServices::openUrl(url);
        return;
    }
    const auto path = PreviewRequestInterceptor::localPath(url.adjusted(QUrl::RemoveFragment));
    if (!path)
        return;
    // A generated page's anchors resolve against its base, the document's folder.
    const bool samePage = *path == m_page || *path == m_folder;
    if (samePage) {
        if (url.hasFragment())
            scrollToAnchor(url.fragment(QUrl::FullyDecoded));
        return;
    }
    if (PreviewRequestInterceptor::isInside(*path, m_folder))
        Q_EMIT fileLinkActivated(*path);
}

void PreviewWebPage::scrollToAnchor(const QString& anchor)
{
    // The page's own scripts are off; this runs in the isolated world, which stays on.
    const QByteArray quoted = QJsonDocument(QJsonArray{anchor}).toJson(QJsonDocument::Compact);
    const QString id = QString::fromUtf8(quoted.mid(1, quoted.size() - 2));
    runJavaScript(QStringLiteral("(function(){var e=document.getElementById(%1)||"
                                 "document.getElementsByName(%1)[0];if(e)e.scrollIntoView();})()")
                      .arg(id),
                  QWebEngineScript::ApplicationWorld);
}
