#pragma once

#include "browser/preview/FileViewer.h"

#include <QByteArray>
#include <QImage>
#include <QTimer>
#include <filesystem>
#include <memory>

class QBuffer;
class QMovie;
class QScrollArea;
class ImageCanvas;
struct DecodedImage;

// An image scaled to fit (never enlarged past the zoom), animated GIF and WebP
// played, SVG drawn sharp at any size. Decoding runs off the main thread.
class ImagePreview : public FileViewer {
    Q_OBJECT
public:
    explicit ImagePreview(QWidget* parent = nullptr);
    ~ImagePreview() override;

    void load(const std::filesystem::path& file) override;
    void clear() override;
    void setZoom(double factor) override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    friend class ImageCanvas;

    QSize viewBox() const;
    QSize displaySize() const;
    QSize decodeSize() const;
    void decode();
    void accept(quint64 generation, DecodedImage decoded);
    void startMovie();
    void relayout();
    QImage currentFrame() const;

    QScrollArea* m_scroll = nullptr;
    ImageCanvas* m_canvas = nullptr;
    QTimer m_redecode;
    std::filesystem::path m_file;
    QByteArray m_bytes; // kept to decode again at a new size without reading the disk
    QImage m_image;
    std::unique_ptr<QBuffer> m_movieBuffer;
    std::unique_ptr<QMovie> m_movie;
    QSize m_natural;
    quint64 m_generation = 0;
    double m_zoom = 1.0;
    bool m_vector = false;
    bool m_loaded = false; // shown() was emitted for m_file
};
