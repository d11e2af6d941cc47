#include "browser/operations/BulkRenamePreviewModel.h"

#include "core/PathText.h"

#include <QApplication>
#include <QStyle>

namespace {

// Storable text as shown: bytes that are not UTF-8 become U+FFFD. The whole text, so
// that a name with a slash in it (refused) still shows as typed.
QString shown(const QString& storable)
{
    return PathText::display(PathText::fromStorableText(storable));
}

} // namespace

BulkRenamePreviewModel::BulkRenamePreviewModel(QObject* parent)
    : QAbstractTableModel(parent)
    , m_warning(QIcon::fromTheme(QStringLiteral("dialog-warning"),
                                 QApplication::style()->standardIcon(QStyle::SP_MessageBoxWarning)))
{
}

void BulkRenamePreviewModel::setRows(std::vector<BulkRenamePreview> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    m_problems = 0;
    m_changed = 0;
    for (const BulkRenamePreview& row : m_rows) {
        m_problems += row.problem ? 1 : 0;
        m_changed += row.newName != row.oldName ? 1 : 0;
    }
    endResetModel();
}

int BulkRenamePreviewModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int BulkRenamePreviewModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : 2;
}

QVariant BulkRenamePreviewModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return {};
    const BulkRenamePreview& row = m_rows[size_t(index.row())];
    if (index.column() == 0)
        return role == Qt::DisplayRole ? QVariant(shown(row.oldName)) : QVariant();
    switch (role) {
    case Qt::DisplayRole: {
        const QString name = shown(row.newName);
        if (!row.problem)
            return name;
        return name.isEmpty() ? *row.problem : QString(name + QStringLiteral("　") + *row.problem);
    }
    case Qt::DecorationRole:
        return row.problem ? QVariant(m_warning) : QVariant();
    case Qt::ToolTipRole:
        return row.problem ? QVariant(*row.problem) : QVariant();
    default:
        return {};
    }
}

QVariant BulkRenamePreviewModel::headerData(int section, Qt::Orientation orientation,
                                            int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == 0 ? QStringLiteral("変更前") : QStringLiteral("変更後");
}
