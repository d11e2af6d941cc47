#include "browser/preview/PreviewWidget.h"

#include "browser/preview/FileCard.h"
#include "browser/preview/ImagePreview.h"
#include "browser/preview/MediaPreview.h"
#include "browser/preview/PdfPreview.h"
#include "browser/preview/PreviewLoader.h"
#include "browser/preview/PreviewRequestInterceptor.h"
#include "browser/preview/PreviewWebPage.h"
#include "browser/preview/TextPreview.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "core/WorkPools.h"
#include "preview/FilePreview.h"

#include <QFuture>
#include <QLabel>
#include <QMenu>
#include <QStackedLayout>
#include <QStackedWidget>
#include <QTimer>
#include <QWebEngineLoadingInfo>
#include <QWebEngineView>
#include <QtConcurrent>

namespace fs = std::filesystem;

namespace {

const QString kZoomKey = QStringLiteral("previewZoom");

} // namespace

PreviewWidget::PreviewWidget(QWidget* parent)
    : QWidget(parent)
    , m_stack(new QStackedWidget(this))
    , m_placeholder(new QLabel(QStringLiteral("プレビューなし"), m_stack))
    , m_text(new TextPreview(m_stack))
    , m_webWatchdog(new QTimer(this))
    , m_generation(std::make_shared<std::atomic<quint64>>(0))
{
    static int serials = 0;
    m_serial = ++serials;
    // The web view lies under the other views rather than among them: Chromium
    // treats a hidden view as a background tab and loads its pages several times
    // slower, so it stays visible, covered, while a page loads behind the others.
    m_layers = new QStackedLayout(this);
    m_layers->setStackingMode(QStackedLayout::StackAll);
    m_layers->setContentsMargins(0, 0, 0, 0);
    m_stack->setAutoFillBackground(true);
    m_layers->addWidget(m_stack);

    m_placeholder->setAlignment(Qt::AlignCenter);
    m_placeholder->setEnabled(false); // drawn in the palette's dim text colour
    m_stack->addWidget(m_placeholder);
    m_stack->addWidget(m_text);

    m_card = new FileCard(m_stack);
    m_stack->addWidget(m_card);
    connect(m_card, &FileCard::shown, this,
            [this](const fs::path& file) { viewShown(m_card, file); });

    m_stack->setCurrentWidget(m_placeholder);
    // Some pages never end loading (a blocked style sheet and a blocked object
    // together keep Chromium's load event from firing); what has been laid out by
    // then is shown.
    m_webWatchdog->setSingleShot(true);
    m_webWatchdog->setInterval(3000);
    connect(m_webWatchdog, &QTimer::timeout, this, &PreviewWidget::webPageLoaded);
    connect(&Preferences::shared(), &Preferences::changed, this, [this](const QString& key) {
        if (key == kZoomKey)
            applyZoom();
    });
    applyZoom();
}

PreviewWidget::~PreviewWidget()
{
    m_generation->store(~quint64(0));
    QThreadPool::globalInstance()->start(
        [prefix = pagePrefix()] { PreviewLoader::removePages(prefix); });
}

void PreviewWidget::follow(const std::optional<fs::path>& file)
{
    // The placeholder is there from the start, so "none" is already shown then too.
    if (file == m_file)
        return;
    if (file)
        showFile(*file);
    else
        showPlaceholder();
}

void PreviewWidget::showFile(const fs::path& file)
{
    ++*m_generation;
    m_file = file;
    const auto kind = FilePreview::kind(file);
    if (kind != PreviewKind::visual) {
        startLoading(file, kind);
        return;
    }
    loadInViewer(FilePreview::viewer(file), file);
}

void PreviewWidget::loadInViewer(PreviewViewer kind, const fs::path& file)
{
    if (kind == PreviewViewer::quickLook) {
        expect(m_card);
        m_card->load(file);
        return;
    }
    FileViewer* viewer = nullptr;
    if (kind == PreviewViewer::image)
        viewer = made(m_image);
    else if (kind == PreviewViewer::pdf)
        viewer = made(m_pdf);
    else
        viewer = made(m_media);
    expect(viewer);
    viewer->setZoom(Preferences::shared().previewZoom());
    viewer->load(file);
}

// Made on first need: most previews never need most viewers, and a media player is
// costly to set up.
template <typename Viewer>
Viewer* PreviewWidget::made(Viewer*& slot)
{
    if (slot)
        return slot;
    auto* viewer = slot = new Viewer(m_stack);
    m_stack->addWidget(viewer);
    connect(viewer, &FileViewer::shown, this,
            [this, viewer](const fs::path& file) { viewShown(viewer, file); });
    connect(viewer, &FileViewer::failed, this,
            [this, viewer](const fs::path& file, const QString& message) {
                viewFailed(viewer, file, message);
            });
    return viewer;
}

void PreviewWidget::showPlaceholder()
{
    ++*m_generation;
    m_file.reset();
    expect(nullptr);
    switchTo(m_placeholder);
}

std::optional<fs::path> PreviewWidget::shownFile() const
{
    return m_file;
}

void PreviewWidget::startLoading(const fs::path& file, std::optional<PreviewKind> kind)
{
    expect(nullptr);
    const quint64 generation = m_generation->load();
    PreviewLoader::Request request;
    request.file = file;
    request.kind = kind;
    request.accentHex = palette().color(QPalette::Highlight).name(QColor::HexRgb);
    request.pageName = pagePrefix() + QString::number(generation);
    request.current = [counter = m_generation, generation] {
        return counter->load() == generation;
    };
    QtConcurrent::run(&WorkPools::previews(), [request, prefix = pagePrefix()] {
        auto content = PreviewLoader::prepare(request);
        // Earlier pages of this widget are no longer shown.
        if (content && content->shows == PreviewContent::Shows::page)
            PreviewLoader::removePages(prefix, request.pageName);
        return content;
    }).then(this, [this, generation](const std::optional<PreviewContent>& content) {
        // Always through the event loop, never inside showFile: a quick result must
        // not start the engine for a file the user is already moving past.
        QMetaObject::invokeMethod(
            this,
            [this, generation, content] {
                if (content && generation == m_generation->load())
                    applyContent(*content);
            },
            Qt::QueuedConnection);
    });
}

void PreviewWidget::applyContent(const PreviewContent& content)
{
    switch (content.shows) {
    case PreviewContent::Shows::page:
        ensureWebView();
        expect(m_web);
        m_expectedPage = PathText::standardized(content.page);
        m_page->open(content.page, m_file->parent_path());
        m_webWatchdog->start();
        break;
    case PreviewContent::Shows::text:
        expect(m_text);
        m_text->setPlainText(content.text);
        switchTo(m_text);
        Q_EMIT fileShown(*m_file);
        break;
    case PreviewContent::Shows::card:
        showCard(content.message);
        break;
    }
}

void PreviewWidget::showCard(const QString& message)
{
    expect(m_card);
    m_card->load(*m_file, message);
}

void PreviewWidget::expect(QWidget* view)
{
    // A viewer still working for a dropped request stops; the one on screen keeps
    // its content until the next one is ready.
    if (m_expected && m_expected != view && m_expected != currentView())
        release(m_expected);
    if (m_expected == m_web && view != m_web && !m_expectedPage.empty()) {
        // A page nobody waits for any more stops loading, and never replaces the one
        // on screen.
        m_page->triggerAction(QWebEnginePage::Stop);
        m_expectedPage.clear();
        m_webWatchdog->stop();
    }
    m_expected = view;
}

void PreviewWidget::viewShown(QWidget* view, const fs::path& file)
{
    if (view != m_expected || !m_file || file != *m_file)
        return;
    switchTo(view);
    Q_EMIT fileShown(file);
}

void PreviewWidget::viewFailed(QWidget* view, const fs::path& file, const QString& message)
{
    if (view != m_expected || !m_file || file != *m_file)
        return;
    showCard(message);
}

void PreviewWidget::webLoadingChanged(const QWebEngineLoadingInfo& info)
{
    if (m_expected != m_web || !m_file || m_expectedPage.empty())
        return;
    const auto page = PreviewRequestInterceptor::localPath(info.url());
    if (!page || *page != m_expectedPage)
        return;
    switch (info.status()) {
    case QWebEngineLoadingInfo::LoadStartedStatus:
        return;
    case QWebEngineLoadingInfo::LoadSucceededStatus:
        webPageLoaded();
        return;
    case QWebEngineLoadingInfo::LoadStoppedStatus:
    case QWebEngineLoadingInfo::LoadFailedStatus:
        m_expectedPage.clear();
        showCard(PreviewLoader::unreadableMessage(*m_file));
        return;
    }
}

void PreviewWidget::webPageLoaded()
{
    if (m_expected != m_web || !m_file || m_expectedPage.empty())
        return;
    m_expectedPage.clear();
    m_webWatchdog->stop();
    switchTo(m_web);
    Q_EMIT fileShown(*m_file);
}

void PreviewWidget::switchTo(QWidget* view)
{
    QWidget* previous = currentView();
    if (previous == view)
        return;
    if (view == m_web) {
        m_layers->setCurrentWidget(m_web);
    } else {
        m_stack->setCurrentWidget(view);
        m_layers->setCurrentWidget(m_stack);
    }
    release(previous);
}

void PreviewWidget::release(QWidget* view)
{
    // Frees what a view no longer on screen holds (decoded images, playback).
    if (auto* viewer = qobject_cast<FileViewer*>(view))
        viewer->clear();
    else if (view == m_card)
        m_card->clear();
    else if (view == m_text)
        m_text->clear();
}

void PreviewWidget::ensureWebView()
{
    if (m_web)
        return;
    // Made on first need: the web engine starts only when a page is shown.
    m_web = new QWebEngineView(this);
    m_page = new PreviewWebPage(m_web);
    m_web->setPage(m_page);
    m_web->setAcceptDrops(false);
    m_web->setContextMenuPolicy(Qt::CustomContextMenu);
    connect(m_web, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
        QMenu menu;
        menu.addAction(m_page->action(QWebEnginePage::Copy));
        menu.addAction(m_page->action(QWebEnginePage::SelectAll));
        menu.exec(m_web->mapToGlobal(at));
    });
    connect(m_page, &QWebEnginePage::loadingChanged, this, &PreviewWidget::webLoadingChanged);
    connect(m_page, &PreviewWebPage::fileLinkActivated, this, &PreviewWidget::fileLinkActivated);
    m_layers->addWidget(m_web);
    m_layers->setCurrentWidget(m_stack);
    // A child that was never laid out is 100×30 until its window is shown, and a long
    // page laid out that narrow takes many times as long as at a real width.
    if (m_stack->testAttribute(Qt::WA_Resized))
        m_web->resize(m_stack->size());
    else
        m_web->resize(testAttribute(Qt::WA_Resized) ? size() : QSize(800, 600));
    applyZoom();
}

void PreviewWidget::applyZoom()
{
    const double zoom = Preferences::shared().previewZoom();
    if (m_web)
        m_web->setZoomFactor(std::clamp(zoom, 0.25, 5.0)); // the engine's own range
    m_text->setZoom(zoom);
    for (FileViewer* viewer : std::initializer_list<FileViewer*>{m_image, m_pdf, m_media}) {
        if (viewer)
            viewer->setZoom(zoom);
    }
}

QWidget* PreviewWidget::currentView() const
{
    return m_web && m_layers->currentWidget() == m_web ? m_web : m_stack->currentWidget();
}

QString PreviewWidget::pagePrefix() const
{
    return QString::number(m_serial) + QLatin1Char('-');
}
