#pragma once

#include <QWidget>
#include <filesystem>

// A viewer of one kind of file inside the preview (image, PDF, audio and video).
class FileViewer : public QWidget {
    Q_OBJECT
public:
    using QWidget::QWidget;

    // Starts loading; returns at once. Ends with shown() or failed() for this file,
    // unless another load() or clear() came first.
    virtual void load(const std::filesystem::path& file) = 0;
    // Drops the shown file and frees what it held (stops playback).
    virtual void clear() = 0;
    // 1.0 is the natural size at which the content fits the view.
    virtual void setZoom(double factor) = 0;

Q_SIGNALS:
    void shown(const std::filesystem::path& file);
    // A clear Japanese message, for the card.
    void failed(const std::filesystem::path& file, const QString& message);
};
