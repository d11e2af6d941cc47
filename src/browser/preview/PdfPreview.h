#pragma once

#include <QWidget>
#include <filesystem>

// A PDF document: pages scrolled, page navigation (previous/next and a page number
// field), text selection copied with Ctrl+C. A corrupt or encrypted file fails with a
// message.
class PdfPreview : public QWidget {
    Q_OBJECT
public:
    explicit PdfPreview(QWidget* parent = nullptr);
    ~PdfPreview() override;

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
