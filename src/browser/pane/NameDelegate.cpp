#include "browser/pane/NameDelegate.h"

#include "browser/pane/FileListModel.h"
#include "browser/pane/FileTreeView.h"
#include "files/FileNode.h"
#include "insight/GitFileStatus.h"
#include "operations/FileNaming.h"

#include <QApplication>
#include <QLineEdit>
#include <QPainter>
#include <QTimer>

namespace {

constexpr int kMarkDiameter = 8;
constexpr int kMarkMargin = 6;

} // namespace

void NameDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                         const QModelIndex& index) const
{
    const QVariant git = index.data(FileListModel::GitStatusRole);
    if (!git.isValid()) {
        QStyledItemDelegate::paint(painter, option, index);
        return;
    }
    // The name is elided before the mark rather than running under it.
    QStyleOptionViewItem item = option;
    initStyleOption(&item, index);
    const QStyle* style = item.widget ? item.widget->style() : QApplication::style();
    const QRect text = style->subElementRect(QStyle::SE_ItemViewItemText, &item, item.widget);
    const int room = text.right() - (option.rect.right() - kMarkDiameter - 2 * kMarkMargin);
    if (room > 0)
        item.text = item.fontMetrics.elidedText(item.text, item.textElideMode,
                                                std::max(0, text.width() - room));
    style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
    const auto status = static_cast<GitFileStatus>(git.toInt());
    const QRect mark(option.rect.right() - kMarkMargin - kMarkDiameter,
                     option.rect.center().y() - kMarkDiameter / 2, kMarkDiameter, kMarkDiameter);
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QColor color = gitStatusColor(status);
    if (status == GitFileStatus::ignored || status == GitFileStatus::untracked) {
        // Hollow: not part of the repository's content.
        painter->setPen(QPen(color, 1.5));
        painter->setBrush(Qt::NoBrush);
    } else {
        painter->setPen(Qt::NoPen);
        painter->setBrush(color);
    }
    painter->drawEllipse(mark);
    painter->restore();
}

void NameDelegate::initStyleOption(QStyleOptionViewItem* option, const QModelIndex& index) const
{
    QStyledItemDelegate::initStyleOption(option, index);
    FileTreeView::prepareCell(*option);
}

void NameDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    auto* line = qobject_cast<QLineEdit*>(editor);
    if (!line) {
        QStyledItemDelegate::setEditorData(editor, index);
        return;
    }
    const auto* model = qobject_cast<const FileListModel*>(index.model());
    const FileEntry& entry = model->nodeForIndex(index)->entry;
    line->setText(entry.name());
    const FileNaming::SplitName split = FileNaming::split(entry.name(), entry.isFolder);
    // The view selects all text once the editor is set up; select the base after it.
    const int length = int(split.base.size());
    QTimer::singleShot(0, line, [line, length] { line->setSelection(0, length); });
}

void NameDelegate::setModelData(QWidget* editor, QAbstractItemModel*,
                                const QModelIndex& index) const
{
    if (auto* line = qobject_cast<QLineEdit*>(editor))
        Q_EMIT renameRequested(QPersistentModelIndex(index), line->text());
}
