#include "browser/preview/FileCard.h"

FileCard::FileCard(QWidget* parent)
    : QWidget(parent)
{
}

FileCard::~FileCard() = default;

void FileCard::load(const std::filesystem::path& file, const QString&)
{
    Q_EMIT shown(file);
}

void FileCard::clear() {}
