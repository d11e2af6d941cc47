#include "browser/FileCommandMenus.h"

#include "browser/BrowserWindow.h"
#include "browser/PaneContainer.h"
#include "browser/PaneFileActions.h"
#include "browser/PaneView.h"

#include <QMenu>
#include <QUndoStack>

namespace {

using Keys = QList<QKeySequence>;

QAction* add(QMenu* menu, const char* title, const Keys& keys, std::function<void()> action)
{
    QAction* item = menu->addAction(QString::fromUtf8(title));
    item->setShortcuts(keys);
    QObject::connect(item, &QAction::triggered, menu, [action] { action(); });
    return item;
}

Keys keys(std::initializer_list<const char*> texts)
{
    Keys out;
    for (const char* text : texts)
        out.push_back(QKeySequence(QString::fromLatin1(text)));
    return out;
}

// Runs `body` on the active pane's file actions, when there is an active pane.
std::function<void()> onActions(BrowserWindow& w, void (*body)(PaneFileActions&))
{
    return [&w, body] {
        if (PaneView* pane = w.activePane())
            body(pane->fileActions());
    };
}

void transferToOtherPane(BrowserWindow& w, TransferMode mode)
{
    PaneContainer* container = w.currentContainer();
    PaneView* other = container ? container->otherPane() : nullptr;
    if (other) // with one pane there is no other side: nothing to do
        w.activePane()->fileActions().transferToPane(*other, mode);
}

} // namespace

namespace FileCommandMenus {

void addFileItems(QMenu* menu, BrowserWindow& w)
{
    add(menu, "新規フォルダ", keys({"Ctrl+Shift+N"}),
        onActions(w, [](PaneFileActions& a) { a.newFolder(); }));
    add(menu, "新規ファイル", keys({"Ctrl+Alt+N"}),
        onActions(w, [](PaneFileActions& a) { a.newFile(); }));
    menu->addSeparator();
    add(menu, "開く", keys({"Ctrl+O"}), [&w] { w.withActivePane(&PaneView::openSelection); });
    add(menu, "名前を変更", keys({"F2"}), [&w] { w.withActivePane(&PaneView::beginRename); });
    add(menu, "複製", keys({"Ctrl+D"}), onActions(w, [](PaneFileActions& a) { a.duplicate(); }));
    menu->addSeparator();
    add(menu, "ゴミ箱に入れる", keys({"Ctrl+Backspace", "Delete"}),
        onActions(w, [](PaneFileActions& a) { a.moveToTrash(); }));
    add(menu, "すぐに削除…", keys({"Ctrl+Alt+Backspace", "Shift+Delete"}),
        onActions(w, [](PaneFileActions& a) { a.deleteImmediately(); }));
}

void addTransferItems(QMenu* menu, BrowserWindow& w)
{
    add(menu, "反対側の画面へコピー", keys({"F5"}),
        [&w] { transferToOtherPane(w, TransferMode::copy); });
    add(menu, "反対側の画面へ移動", keys({"F6"}),
        [&w] { transferToOtherPane(w, TransferMode::move); });
}

void addUndoItems(QMenu* menu)
{
    QUndoStack& stack = FileOperationManager::shared().undoStack();
    QAction* undo = add(menu, "取り消す", keys({"Ctrl+Z"}), [&stack] { stack.undo(); });
    QAction* redo = add(menu, "やり直す", keys({"Ctrl+Shift+Z"}), [&stack] { stack.redo(); });
    auto update = [&stack, undo, redo] {
        undo->setEnabled(stack.canUndo());
        redo->setEnabled(stack.canRedo());
        undo->setText(stack.canUndo() ? QStringLiteral("「%1」を取り消す").arg(stack.undoText())
                                      : QStringLiteral("取り消す"));
        redo->setText(stack.canRedo() ? QStringLiteral("「%1」をやり直す").arg(stack.redoText())
                                      : QStringLiteral("やり直す"));
    };
    QObject::connect(&stack, &QUndoStack::indexChanged, undo, update);
    QObject::connect(&stack, &QUndoStack::cleanChanged, undo, update);
    update();
}

void addClipboardItems(QMenu* menu, BrowserWindow& w)
{
    add(menu, "カット", keys({"Ctrl+X"}),
        onActions(w, [](PaneFileActions& a) { a.copyToClipboard(true); }));
    add(menu, "コピー", keys({"Ctrl+C"}),
        onActions(w, [](PaneFileActions& a) { a.copyToClipboard(false); }));
    QAction* paste = add(menu, "ペースト", keys({"Ctrl+V"}),
                         onActions(w, [](PaneFileActions& a) { a.paste(false); }));
    QAction* moveHere = add(menu, "ここに移動", keys({"Ctrl+Alt+V"}),
                            onActions(w, [](PaneFileActions& a) { a.paste(true); }));
    QObject::connect(menu, &QMenu::aboutToShow, menu, [&w, paste, moveHere] {
        const bool can = w.activePane() && w.activePane()->fileActions().canPaste();
        paste->setEnabled(can);
        moveHere->setEnabled(can);
    });
    QObject::connect(menu, &QMenu::aboutToHide, menu, [paste, moveHere] {
        // Shortcuts must work while the menu is closed; the action checks again.
        paste->setEnabled(true);
        moveHere->setEnabled(true);
    });
}

} // namespace FileCommandMenus
