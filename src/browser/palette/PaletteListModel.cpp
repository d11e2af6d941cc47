#include "browser/palette/PaletteListModel.h"

#include "browser/pane/IconCache.h"
#include "core/PathText.h"
#include "palette/PaletteModel.h"

#include <QMimeDatabase>

namespace {

// By name only: the palette never stats its results.
QIcon iconForFile(const std::filesystem::path& path)
{
    static const QMimeDatabase mimes;
    const QMimeType type =
        mimes.mimeTypeForFile(PathText::displayName(path), QMimeDatabase::MatchExtension);
    return IconCache::named(type.iconName());
}

QIcon iconOf(const PaletteItem& item)
{
    if (const auto* tag = std::get_if<Tag>(&item.kind))
        return IconCache::dot(tag->color);
    if (item.icon.type == PaletteItem::Icon::Type::File)
        return iconForFile(item.icon.path);
    return IconCache::named(item.icon.name);
}

} // namespace

PaletteListModel::PaletteListModel(QObject* parent)
    : QAbstractListModel(parent)
{
}

void PaletteListModel::setModel(PaletteModel* model)
{
    beginResetModel();
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (model) {
        connect(model, &PaletteModel::itemsChanged, this, [this] {
            beginResetModel();
            endResetModel();
        });
    }
    endResetModel();
}

int PaletteListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() || !m_model ? 0 : int(m_model->items().size());
}

const PaletteItem* PaletteListModel::itemAt(const QModelIndex& index) const
{
    if (!m_model || !index.isValid() || index.row() >= int(m_model->items().size()))
        return nullptr;
    return &m_model->items()[size_t(index.row())];
}

QVariant PaletteListModel::data(const QModelIndex& index, int role) const
{
    const PaletteItem* item = itemAt(index);
    if (!item)
        return {};
    switch (role) {
    case Qt::DisplayRole:
        return item->title;
    case Qt::DecorationRole:
        return iconOf(*item);
    case Qt::ToolTipRole:
        return item->subtitle.isEmpty() ? item->title : item->subtitle;
    case SubtitleRole:
        return item->subtitle;
    case DetailRole:
        return item->detail;
    case HighlightsRole:
        return QVariant::fromValue(QList<int>(item->highlights.begin(), item->highlights.end()));
    default:
        return {};
    }
}
