#include "browser/preview/PdfPreview.h"

PdfPreview::PdfPreview(QWidget* parent)
    : QWidget(parent)
{
}

PdfPreview::~PdfPreview() = default;

void PdfPreview::load(const std::filesystem::path& file)
{
    Q_EMIT failed(file, QString());
}

void PdfPreview::clear() {}

void PdfPreview::setZoom(double) {}
