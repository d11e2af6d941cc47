#include "browser/RenameDelegate.h"

#include "browser/FileListModel.h"
#include "files/FileNode.h"
#include "operations/FileNaming.h"

#include <QLineEdit>
#include <QTimer>

void RenameDelegate::setEditorData(QWidget* editor, const QModelIndex& index) const
{
    auto* line = qobject_cast<QLineEdit*>(editor);
    if (!line) {
        QStyledItemDelegate::setEditorData(editor, index);
        return;
    }
    const auto* model = qobject_cast<const FileListModel*>(index.model());
    const FileEntry& entry = model->nodeForIndex(index)->entry;
    line->setText(entry.name);
    const FileNaming::SplitName split = FileNaming::split(entry.name, entry.isFolder);
    // The view selects all text once the editor is set up; select the base after it.
    const int length = int(split.base.size());
    QTimer::singleShot(0, line, [line, length] { line->setSelection(0, length); });
}

void RenameDelegate::setModelData(QWidget* editor, QAbstractItemModel*,
                                  const QModelIndex& index) const
{
    if (auto* line = qobject_cast<QLineEdit*>(editor))
        Q_EMIT renameRequested(QPersistentModelIndex(index), line->text());
}
