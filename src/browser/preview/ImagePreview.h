#pragma once

#include <QWidget>
#include <filesystem>

// An image scaled to fit (never enlarged past the zoom), animated GIF and WebP
// played, SVG drawn sharp at any size. Decoding runs off the main thread.
class ImagePreview : public QWidget {
    Q_OBJECT
public:
    explicit ImagePreview(QWidget* parent = nullptr);
    ~ImagePreview() override;

    // Starts loading; returns at once. Ends with shown() or failed() for this file,
    // unless another load() or clear() came first.
    void load(const std::filesystem::path& file);
    // Drops the shown file and frees what it held (stops playback).
    void clear();
    // 1.0 is the natural size at which the content fits the view.
    void setZoom(double factor);

Q_SIGNALS:
    void shown(const std::filesystem::path& file);
    // A clear Japanese message, for the card.
    void failed(const std::filesystem::path& file, const QString& message);
};
