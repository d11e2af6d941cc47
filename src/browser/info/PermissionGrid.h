#pragma once

#include <QWidget>
#include <array>
#include <sys/types.h>

class QCheckBox;

// アクセス権 as a grid: 所有者, グループ, その他 by 読み, 書き, 実行. Shows a mode;
// a click asks for one bit to change (the grid shows the new mode only once the
// disk has it).
class PermissionGrid : public QWidget {
    Q_OBJECT
public:
    explicit PermissionGrid(QWidget* parent = nullptr);

    void setMode(mode_t mode, bool editable);
    // The box for a bit such as S_IWGRP.
    QCheckBox* box(mode_t bit) const;

Q_SIGNALS:
    void bitRequested(mode_t bit, bool on);

private:
    std::array<QCheckBox*, 9> m_boxes{};
    mode_t m_mode = 0;
};
