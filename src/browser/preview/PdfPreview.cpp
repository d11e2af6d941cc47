#include "browser/preview/PdfPreview.h"

#include "browser/preview/FileBytes.h"
#include "browser/preview/PdfSelectionView.h"
#include "core/PathText.h"
#include "core/WorkPools.h"

#include <QBuffer>
#include <QFuture>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPdfDocument>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QSpinBox>
#include <QStyle>
#include <QToolButton>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

namespace fs = std::filesystem;

namespace {

QToolButton* pageButton(const char* icon, QStyle::StandardPixmap fallback, const QString& tip,
                        QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(QIcon::fromTheme(QLatin1String(icon), parent->style()->standardIcon(fallback)));
    button->setToolTip(tip);
    button->setAutoRaise(true);
    return button;
}

} // namespace

struct PdfPreview::Loaded {
    std::shared_ptr<QPdfDocument> document; // null when it could not be opened
    QPdfDocument::Error error = QPdfDocument::Error::None;
};

PdfPreview::PdfPreview(QWidget* parent)
    : FileViewer(parent)
    , m_view(new PdfSelectionView(this))
    , m_previous(pageButton("go-up", QStyle::SP_ArrowUp, QStringLiteral("前のページ"), this))
    , m_next(pageButton("go-down", QStyle::SP_ArrowDown, QStringLiteral("次のページ"), this))
    , m_page(new QSpinBox(this))
    , m_pageCount(new QLabel(this))
{
    // Qt Pdf starts the PDF library with its first document and stops it with its last.
    // Documents are parsed on a worker, so the library would be started and stopped on
    // different threads by turns, which it is not made for: one idle document made here
    // keeps it started for the whole run.
    static const QPdfDocument* const keepsLibraryStarted = new QPdfDocument;
    Q_UNUSED(keepsLibraryStarted);
    m_view->setDocumentMargins(QMargins(8, 8, 8, 8));
    m_view->setPageSpacing(8);
    m_page->setKeyboardTracking(false);
    m_page->setButtonSymbols(QAbstractSpinBox::NoButtons);
    m_page->setAlignment(Qt::AlignRight);

    auto* bar = new QHBoxLayout;
    bar->setContentsMargins(6, 2, 6, 2);
    bar->addWidget(m_previous);
    bar->addWidget(m_next);
    bar->addStretch();
    bar->addWidget(m_page);
    bar->addWidget(m_pageCount);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addLayout(bar);
    layout->addWidget(m_view, 1);

    connect(m_previous, &QToolButton::clicked, this, [this] { goToPage(currentPage() - 1); });
    connect(m_next, &QToolButton::clicked, this, [this] { goToPage(currentPage() + 1); });
    connect(m_page, &QSpinBox::valueChanged, this, [this](int number) { goToPage(number - 1); });
    connect(m_view->verticalScrollBar(), &QScrollBar::valueChanged, this, &PdfPreview::pageChanged);
    for (const auto& [key, step] :
         {std::pair{Qt::Key_PageUp, -1}, std::pair{Qt::Key_PageDown, 1}}) {
        auto* shortcut = new QShortcut(QKeySequence(key), this);
        shortcut->setContext(Qt::WidgetWithChildrenShortcut);
        connect(shortcut, &QShortcut::activated, this,
                [this, step] { goToPage(currentPage() + step); });
    }
    clear();
}

PdfPreview::~PdfPreview()
{
    m_view->setDocument(nullptr);
}

void PdfPreview::load(const fs::path& file)
{
    clear();
    m_file = file;
    const quint64 generation = m_generation;
    QThread* home = thread();
    QtConcurrent::run(&WorkPools::previews(), [file, home] {
        Loaded loaded;
        auto bytes = FileBytes::read(file, FileBytes::kViewerLimit);
        if (!bytes) {
            loaded.error = QPdfDocument::Error::FileNotFound;
            return loaded;
        }
        // Parsed here, so a large or damaged file never stalls the
        // window; the document then lives on the main thread.
        auto* document = new QPdfDocument;
        auto* buffer = new QBuffer(document);
        buffer->setData(std::move(*bytes));
        buffer->open(QIODevice::ReadOnly);
        document->load(buffer);
        loaded.error = document->error();
        if (document->status() != QPdfDocument::Status::Ready) {
            delete document;
            return loaded;
        }
        document->moveToThread(home);
        loaded.document.reset(document, [](QPdfDocument* made) { made->deleteLater(); });
        return loaded;
    }).then(this, [this, generation](const Loaded& loaded) { accept(generation, loaded); });
}

void PdfPreview::clear()
{
    ++m_generation;
    m_file.clear();
    m_view->clearSelection();
    m_view->setDocument(nullptr);
    m_document.reset();
    m_widestPage = 0;
    {
        const QSignalBlocker blocker(m_page);
        m_page->setRange(0, 0);
        m_page->setValue(0);
    }
    m_pageCount->clear();
    m_previous->setEnabled(false);
    m_next->setEnabled(false);
    m_page->setEnabled(false);
}

void PdfPreview::setZoom(double factor)
{
    factor = std::clamp(factor, 0.1, 10.0);
    if (factor == m_zoom)
        return;
    m_zoom = factor;
    applyZoom();
}

void PdfPreview::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    applyZoom();
}

void PdfPreview::accept(quint64 generation, const Loaded& loaded)
{
    if (generation != m_generation)
        return;
    const QString name = PathText::displayName(m_file);
    if (!loaded.document) {
        Q_EMIT failed(m_file,
                      loaded.error == QPdfDocument::Error::IncorrectPassword
                          ? QStringLiteral("「%1」はパスワードで保護されています。").arg(name)
                          : QStringLiteral("「%1」を開けませんでした。").arg(name));
        return;
    }
    m_document = loaded.document;
    m_view->setDocument(m_document.get());
    const int pages = m_document->pageCount();
    // Asked once: every resize fits the widest page again.
    for (int page = 0; page < pages; ++page)
        m_widestPage = std::max(m_widestPage, m_document->pagePointSize(page).width());
    {
        const QSignalBlocker blocker(m_page);
        m_page->setRange(1, std::max(pages, 1));
        m_page->setValue(1);
    }
    m_page->setEnabled(pages > 1);
    m_pageCount->setText(QStringLiteral("/ %1").arg(pages));
    applyZoom();
    goToPage(0);
    pageChanged();
    Q_EMIT shown(m_file);
}

void PdfPreview::applyZoom()
{
    if (!m_document || m_widestPage <= 0)
        return;
    // Room is kept for the vertical scroll bar, so that its coming and going never
    // changes the fitted width (and with it whether it is needed).
    const QMargins margins = m_view->documentMargins();
    const int room = m_view->maximumViewportSize().width() -
                     m_view->style()->pixelMetric(QStyle::PM_ScrollBarExtent) - margins.left() -
                     margins.right();
    const QScreen* screen = QGuiApplication::primaryScreen();
    const qreal pixelsPerPoint = (screen ? screen->logicalDotsPerInch() : 96.0) / 72.0;
    const int page = currentPage();
    m_view->setZoomFactor(std::max(room, 32) / (m_widestPage * pixelsPerPoint) * m_zoom);
    goToPage(page);
}

int PdfPreview::currentPage() const
{
    if (!m_document)
        return 0;
    // At the end of the document the last pages can never reach the top: the last
    // one showing is the current one then.
    const QScrollBar* bar = m_view->verticalScrollBar();
    const int height = m_view->viewport()->height();
    return m_view->pageAtHeight(bar->value() == bar->maximum() && bar->maximum() > 0 ? height - 1
                                                                                     : height / 3);
}

void PdfPreview::goToPage(int page)
{
    if (!m_document || page < 0 || page >= m_document->pageCount())
        return;
    QScrollBar* bar = m_view->verticalScrollBar();
    bar->setValue(bar->value() + m_view->pageRect(page).top() - m_view->documentMargins().top());
}

void PdfPreview::pageChanged()
{
    if (!m_document)
        return;
    const int page = currentPage();
    const QSignalBlocker blocker(m_page);
    m_page->setValue(page + 1);
    m_previous->setEnabled(page > 0);
    m_next->setEnabled(page + 1 < m_document->pageCount());
}
