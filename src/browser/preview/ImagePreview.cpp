#include "browser/preview/ImagePreview.h"

#include "browser/preview/FileBytes.h"
#include "core/PathText.h"
#include "core/WorkPools.h"

#include <QBuffer>
#include <QFuture>
#include <QImageReader>
#include <QMovie>
#include <QPainter>
#include <QScrollArea>
#include <QSvgRenderer>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

namespace fs = std::filesystem;

namespace {

// Bounds the memory of one decoded picture whatever the zoom (64 MiB at 4 bytes a pixel).
constexpr int maxDecodedSide = 4096;
// Animations keep their whole file and decode every frame; larger ones stay still.
constexpr qint64 maxAnimationBytes = 64LL * 1024 * 1024;
constexpr qint64 maxAnimationPixels = 4096LL * 4096;

// The logical size the picture takes: fitted into the view (rasters only ever
// shrunk, drawings filling it), then zoomed.
QSize displayed(QSize natural, QSize box, bool vector, double zoom)
{
    if (natural.isEmpty() || box.isEmpty())
        return {};
    QSizeF size = natural;
    if (vector || natural.width() > box.width() || natural.height() > box.height())
        size = size.scaled(QSizeF(box), Qt::KeepAspectRatio);
    return (size * zoom).toSize().expandedTo({1, 1});
}

// The pixels worth decoding for that: device pixels, never more than the raster has.
QSize decoded(QSize natural, QSize display, qreal ratio, bool vector)
{
    QSize size = (QSizeF(display) * ratio).toSize();
    if (!vector && (size.width() >= natural.width() || size.height() >= natural.height()))
        size = natural;
    if (size.width() > maxDecodedSide || size.height() > maxDecodedSide)
        size = size.scaled(maxDecodedSide, maxDecodedSide, Qt::KeepAspectRatio);
    return size.expandedTo({1, 1});
}

} // namespace

struct DecodedImage {
    QByteArray bytes;
    QImage image; // null when the file could not be read or decoded
    QSize natural;
    bool vector = false;
    bool animated = false;
};

namespace {

DecodedImage decodeSvg(DecodedImage out, QSize box, qreal ratio, double zoom)
{
    QSvgRenderer svg(out.bytes);
    if (!svg.isValid())
        return out;
    out.vector = true;
    out.natural = svg.defaultSize();
    if (out.natural.isEmpty())
        out.natural = svg.viewBoxF().size().toSize().expandedTo({256, 256});
    QImage image(decoded(out.natural, displayed(out.natural, box, true, zoom), ratio, true),
                 QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    svg.render(&painter);
    painter.end();
    out.image = std::move(image);
    return out;
}

DecodedImage decodeRaster(DecodedImage out, QSize box, qreal ratio, double zoom)
{
    QBuffer buffer(&out.bytes);
    buffer.open(QIODevice::ReadOnly);
    QImageReader reader(&buffer);
    reader.setAutoTransform(true);
    const QSize stored = reader.size();
    if (!stored.isValid())
        return out;
    // Scaling applies to the stored picture, before it is turned upright.
    const bool turned = reader.transformation() & QImageIOHandler::TransformationRotate90;
    out.natural = turned ? stored.transposed() : stored;
    const QSize want = decoded(out.natural, displayed(out.natural, box, false, zoom), ratio, false);
    if (want != out.natural)
        reader.setScaledSize(turned ? want.transposed() : want);
    out.image = reader.read();
    out.animated = !out.image.isNull() && reader.supportsAnimation() && reader.imageCount() > 1 &&
                   out.bytes.size() <= maxAnimationBytes &&
                   qint64(stored.width()) * stored.height() <= maxAnimationPixels;
    return out;
}

DecodedImage decodeFile(const fs::path& file, QByteArray bytes, QSize box, qreal ratio, double zoom)
{
    DecodedImage out;
    if (bytes.isEmpty()) {
        auto read = FileBytes::read(file, FileBytes::kViewerLimit);
        if (!read)
            return out;
        bytes = std::move(*read);
    }
    out.bytes = std::move(bytes);
    QBuffer probe(&out.bytes);
    probe.open(QIODevice::ReadOnly);
    const QByteArray format = QImageReader::imageFormat(&probe);
    if (format == "svg" || format == "svgz")
        return decodeSvg(std::move(out), box, ratio, zoom);
    return decodeRaster(std::move(out), box, ratio, zoom);
}

} // namespace

// Draws the current picture or frame centred in whatever room the scroll area gives.
class ImageCanvas : public QWidget {
public:
    explicit ImageCanvas(ImagePreview* owner)
        : m_owner(owner)
    {
    }

protected:
    void paintEvent(QPaintEvent*) override
    {
        const QImage frame = m_owner->currentFrame();
        if (frame.isNull())
            return;
        const QSize size = m_owner->displaySize();
        QPainter painter(this);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        const QPoint corner((width() - size.width()) / 2, (height() - size.height()) / 2);
        painter.drawImage(QRect(corner, size), frame);
    }

private:
    ImagePreview* m_owner;
};

ImagePreview::ImagePreview(QWidget* parent)
    : FileViewer(parent)
    , m_scroll(new QScrollArea(this))
    , m_canvas(new ImageCanvas(this))
{
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_scroll);
    m_scroll->setFrameShape(QFrame::NoFrame);
    m_scroll->setAlignment(Qt::AlignCenter);
    m_scroll->setWidget(m_canvas);
    // Resizing a window fires many events; decode again once it settles.
    m_redecode.setSingleShot(true);
    m_redecode.setInterval(150);
    connect(&m_redecode, &QTimer::timeout, this, &ImagePreview::decode);
}

ImagePreview::~ImagePreview() = default;

void ImagePreview::load(const fs::path& file)
{
    clear();
    m_file = file;
    decode();
}

void ImagePreview::clear()
{
    ++m_generation;
    m_redecode.stop();
    m_movie.reset();
    m_movieBuffer.reset();
    m_file.clear();
    m_bytes.clear();
    m_image = {};
    m_natural = {};
    m_vector = false;
    m_loaded = false;
    relayout();
}

void ImagePreview::setZoom(double factor)
{
    factor = std::clamp(factor, 0.1, 10.0);
    if (factor == m_zoom)
        return;
    m_zoom = factor;
    relayout();
}

void ImagePreview::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    relayout();
}

QSize ImagePreview::viewBox() const
{
    return m_scroll->maximumViewportSize().expandedTo({1, 1});
}

QSize ImagePreview::displaySize() const
{
    return displayed(m_natural, viewBox(), m_vector, m_zoom);
}

QSize ImagePreview::decodeSize() const
{
    return decoded(m_natural, displaySize(), devicePixelRatioF(), m_vector);
}

void ImagePreview::decode()
{
    if (m_file.empty())
        return;
    const quint64 generation = ++m_generation;
    QtConcurrent::run(&WorkPools::previews(), decodeFile, m_file, m_bytes, viewBox(),
                      devicePixelRatioF(), m_zoom)
        .then(this,
              [this, generation](DecodedImage result) { accept(generation, std::move(result)); });
}

void ImagePreview::accept(quint64 generation, DecodedImage result)
{
    if (generation != m_generation)
        return;
    if (result.image.isNull()) {
        if (!m_loaded)
            Q_EMIT failed(m_file, QStringLiteral("「%1」を表示できませんでした。")
                                      .arg(PathText::displayName(m_file)));
        return;
    }
    m_bytes = std::move(result.bytes);
    m_image = std::move(result.image);
    m_natural = result.natural;
    m_vector = result.vector;
    if (result.animated && !m_movie)
        startMovie();
    relayout();
    if (!m_loaded) {
        m_loaded = true;
        Q_EMIT shown(m_file);
    }
}

void ImagePreview::startMovie()
{
    m_movieBuffer = std::make_unique<QBuffer>();
    m_movieBuffer->setData(m_bytes);
    m_movieBuffer->open(QIODevice::ReadOnly);
    m_movie = std::make_unique<QMovie>(m_movieBuffer.get(), QByteArray(), this);
    m_movie->setCacheMode(QMovie::CacheNone);
    m_movie->setScaledSize(decodeSize());
    connect(m_movie.get(), &QMovie::frameChanged, m_canvas, qOverload<>(&QWidget::update));
    m_movie->start();
}

void ImagePreview::relayout()
{
    const QSize display = displaySize();
    m_canvas->resize(display.expandedTo(m_scroll->viewport()->size()));
    m_canvas->update();
    if (m_image.isNull())
        return;
    const QSize want = decodeSize();
    if (m_movie) {
        m_movie->setScaledSize(want);
        return;
    }
    // Sharper pixels when the picture grows; fewer held when it shrinks a lot.
    const QSize have = m_image.size();
    const bool sharper =
        m_vector ? want != have : want.width() > have.width() || want.height() > have.height();
    if (sharper || want.width() * 2 < have.width())
        m_redecode.start();
}

QImage ImagePreview::currentFrame() const
{
    if (m_movie) {
        const QImage frame = m_movie->currentImage();
        if (!frame.isNull())
            return frame;
    }
    return m_image;
}
