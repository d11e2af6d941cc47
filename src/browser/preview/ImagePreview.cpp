#include "browser/preview/ImagePreview.h"

ImagePreview::ImagePreview(QWidget* parent)
    : QWidget(parent)
{
}

ImagePreview::~ImagePreview() = default;

void ImagePreview::load(const std::filesystem::path& file)
{
    Q_EMIT failed(file, QString());
}

void ImagePreview::clear() {}

void ImagePreview::setZoom(double) {}
