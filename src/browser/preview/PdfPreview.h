#pragma once

#include "browser/preview/FileViewer.h"

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
class PdfPreview : public FileViewer {
    Q_OBJECT
public:
    explicit PdfPreview(QWidget* parent = nullptr);
    ~PdfPreview() override;

    void load(const std::filesystem::path& file) override;
    void clear() override;
    void setZoom(double factor) override;

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
    qreal m_widestPage = 0; // in points
    quint64 m_generation = 0;
    double m_zoom = 1.0;
};
