#include "insight/GitFileStatus.h"

std::string_view gitStatusName(GitFileStatus status)
{
    switch (status) {
    case GitFileStatus::modified:
        return "modified";
    case GitFileStatus::added:
        return "added";
    case GitFileStatus::untracked:
        return "untracked";
    case GitFileStatus::deleted:
        return "deleted";
    case GitFileStatus::renamed:
        return "renamed";
    case GitFileStatus::conflicted:
        return "conflicted";
    case GitFileStatus::ignored:
        return "ignored";
    }
    return {};
}

QString gitStatusLabel(GitFileStatus status, bool isFolder)
{
    switch (status) {
    case GitFileStatus::modified:
        return isFolder ? QStringLiteral("中に変更があります")
                        : QStringLiteral("変更あり（未コミット）");
    case GitFileStatus::added:
        return QStringLiteral("追加（ステージ済み）");
    case GitFileStatus::untracked:
        return QStringLiteral("Git で管理していないファイル");
    case GitFileStatus::deleted:
        return QStringLiteral("削除済み（未コミット）");
    case GitFileStatus::renamed:
        return QStringLiteral("名前を変更（ステージ済み）");
    case GitFileStatus::conflicted:
        return QStringLiteral("競合しています（未解決）");
    case GitFileStatus::ignored:
        return QStringLiteral("Git が無視するファイル");
    }
    return {};
}

// Mid-tone colours, so a mark reads on light and dark backgrounds alike.
QColor gitStatusColor(GitFileStatus status)
{
    switch (status) {
    case GitFileStatus::modified:
        return QColor(0xE8, 0x8A, 0x1A);
    case GitFileStatus::added:
        return QColor(0x3C, 0xA5, 0x4A);
    case GitFileStatus::untracked:
        return QColor(0x7A, 0x90, 0xA8);
    case GitFileStatus::deleted:
        return QColor(0xE0, 0x45, 0x3A);
    case GitFileStatus::renamed:
        return QColor(0x3D, 0x84, 0xE6);
    case GitFileStatus::conflicted:
        return QColor(0xD6, 0x33, 0x9B);
    case GitFileStatus::ignored:
        return QColor(0x8E, 0x8E, 0x8E);
    }
    return {};
}
