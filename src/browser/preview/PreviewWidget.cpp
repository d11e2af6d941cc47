#include "browser/preview/PreviewWidget.h"

PreviewWidget::PreviewWidget(QWidget* parent)
    : QWidget(parent)
{
}

PreviewWidget::~PreviewWidget() = default;

void PreviewWidget::showFile(const std::filesystem::path& file)
{
    Q_EMIT fileShown(file);
}

void PreviewWidget::showPlaceholder() {}

std::optional<std::filesystem::path> PreviewWidget::shownFile() const
{
    return std::nullopt;
}
