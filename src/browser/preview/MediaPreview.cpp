#include "browser/preview/MediaPreview.h"

MediaPreview::MediaPreview(QWidget* parent)
    : QWidget(parent)
{
}

MediaPreview::~MediaPreview() = default;

void MediaPreview::load(const std::filesystem::path& file)
{
    Q_EMIT failed(file, QString());
}

void MediaPreview::clear() {}

void MediaPreview::setZoom(double) {}
