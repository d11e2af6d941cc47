#pragma once

#include <QAbstractListModel>
#include <QPointer>

class PaletteModel;
struct PaletteItem;

// The palette's results as rows for a list view. Resets whenever the results change;
// the list is short (a few hundred rows at most).
class PaletteListModel : public QAbstractListModel {
    Q_OBJECT
public:
    enum Role {
        SubtitleRole = Qt::UserRole + 1,
        DetailRole,
        HighlightsRole, // QList<int>: grapheme indices of the title
    };

    explicit PaletteListModel(QObject* parent = nullptr);
    void setModel(PaletteModel* model);

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    const PaletteItem* itemAt(const QModelIndex& index) const;

    QPointer<PaletteModel> m_model;
};
