#include "browser/info/PermissionGrid.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>

namespace {

// Row by row (owner, group, others), read, write, execute: 0400 down to 0001.
mode_t bitAt(size_t index)
{
    return mode_t(0400) >> index;
}

} // namespace

PermissionGrid::PermissionGrid(QWidget* parent)
    : QWidget(parent)
{
    auto* grid = new QGridLayout(this);
    grid->setContentsMargins(0, 0, 0, 0);
    const QString rows[] = {QStringLiteral("所有者"), QStringLiteral("グループ"),
                            QStringLiteral("その他")};
    const QString columns[] = {QStringLiteral("読み"), QStringLiteral("書き"),
                               QStringLiteral("実行")};
    for (int c = 0; c < 3; ++c)
        grid->addWidget(new QLabel(columns[c], this), 0, c + 1, Qt::AlignCenter);
    for (int r = 0; r < 3; ++r) {
        grid->addWidget(new QLabel(rows[r], this), r + 1, 0);
        for (int c = 0; c < 3; ++c) {
            const size_t index = size_t(r * 3 + c);
            auto* box = new QCheckBox(this);
            box->setAccessibleName(rows[r] + columns[c]);
            m_boxes[index] = box;
            grid->addWidget(box, r + 1, c + 1, Qt::AlignCenter);
            connect(box, &QCheckBox::clicked, this, [this, index](bool on) {
                // Back to what the disk says until the change is made.
                const QSignalBlocker block(m_boxes[index]);
                m_boxes[index]->setChecked(m_mode & bitAt(index));
                Q_EMIT bitRequested(bitAt(index), on);
            });
        }
    }
}

void PermissionGrid::setMode(mode_t mode, bool editable)
{
    m_mode = mode;
    for (size_t i = 0; i < m_boxes.size(); ++i) {
        const QSignalBlocker block(m_boxes[i]);
        m_boxes[i]->setChecked(mode & bitAt(i));
        m_boxes[i]->setEnabled(editable);
    }
}

QCheckBox* PermissionGrid::box(mode_t bit) const
{
    for (size_t i = 0; i < m_boxes.size(); ++i)
        if (bitAt(i) == bit)
            return m_boxes[i];
    return nullptr;
}
