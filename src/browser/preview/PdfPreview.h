#pragma once

#include <QWidget>
#include <filesystem>
#include <memory>

class QLabel;
class QPdfDocument;
class QSpinBox;
class QToolButton;
class PdfSelectionView;

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

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    struct Loaded;

    void accept(quint64 generation, const Loaded& loaded);
    void applyZoom();
    // The page in view (0-based), and the one to bring into view.
    int currentPage() const;
    void goToPage(int page);
    void pageChanged();

    PdfSelectionView* m_view = nullptr;
    QToolButton* m_previous = nullptr;
    QToolButton* m_next = nullptr;
    QSpinBox* m_page = nullptr;
    QLabel* m_pageCount = nullptr;
    std::shared_ptr<QPdfDocument> m_document;
    std::filesystem::path m_file;
    quint64 m_generation = 0;
    double m_zoom = 1.0;
};
