#pragma once

#include <QWidget>
#include <filesystem>

// Audio or video: play/pause, a position slider and the current time. Nothing plays
// until the user asks.
class MediaPreview : public QWidget {
    Q_OBJECT
public:
    explicit MediaPreview(QWidget* parent = nullptr);
    ~MediaPreview() override;

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
