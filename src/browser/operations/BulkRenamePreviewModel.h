#pragma once

#include "operations/BulkRename.h"

#include <QAbstractTableModel>
#include <QIcon>
#include <vector>

// The rows of a bulk rename preview: "変更前" and "変更後", the problem of a row
// beside its new name under a warning sign. Names are shown as people see them;
// the rows keep the storable text for renaming.
class BulkRenamePreviewModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit BulkRenamePreviewModel(QObject* parent = nullptr);

    void setRows(std::vector<BulkRenamePreview> rows);
    const std::vector<BulkRenamePreview>& rows() const { return m_rows; }
    int problemCount() const { return m_problems; }
    // Rows whose new name differs from the old one.
    int changedCount() const { return m_changed; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    std::vector<BulkRenamePreview> m_rows;
    int m_problems = 0;
    int m_changed = 0;
    QIcon m_warning;
};
