#include "browser/menus/FileCommandMenus.h"

#include "browser/info/InfoWindows.h"
#include "browser/menus/AppCommands.h"
#include "browser/menus/GoMenu.h"
#include "browser/menus/MenuBuilder.h"
#include "browser/pane/PaneFileActions.h"
#include "browser/pane/PaneView.h"
#include "browser/sidebar/SidebarView.h"
#include "browser/tags/TagEditorDialog.h"
#include "browser/window/BrowserWindow.h"
#include "browser/window/PaneContainer.h"
#include "core/PathText.h"
#include "insight/GitRepository.h"
#include "tags/SidebarStore.h"

#include <QAction>
#include <QClipboard>
#include <QGuiApplication>
#include <QMenu>
#include <QUndoStack>

namespace fs = std::filesystem;

namespace {

// Runs `body` on the active pane's file actions, when there is an active pane.
MenuBuilder::Run onActions(BrowserWindow& w, void (*body)(PaneFileActions&))
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

// The selection, or the shown folder when nothing is selected.
std::vector<fs::path> pathsToCopy(const BrowserWindow& w)
{
    PaneView* pane = w.activePane();
    if (!pane)
        return {};
    std::vector<fs::path> paths = pane->selectedPaths();
    if (paths.empty() && pane->location().isFolder())
        paths.push_back(pane->location().path());
    return paths;
}

QString shellQuoted(const fs::path& path)
{
    QString text = PathText::display(path);
    text.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + text + QLatin1Char('\'');
}

std::optional<fs::path> repositoryRoot(const BrowserWindow& w)
{
    PaneView* pane = w.activePane();
    if (!pane || !pane->location().isFolder())
        return std::nullopt;
    return GitRepository::root(pane->location().path());
}

// Relative to the repository of the shown folder; the root itself is ".".
QString relativeText(const fs::path& path, const fs::path& root)
{
    const fs::path relative = path.lexically_relative(root);
    return relative.empty() ? PathText::display(path) : PathText::display(relative);
}

void copyLines(const std::vector<fs::path>& paths,
               const std::function<QString(const fs::path&)>& form)
{
    QStringList lines;
    for (const fs::path& path : paths)
        lines << form(path);
    if (!lines.isEmpty())
        QGuiApplication::clipboard()->setText(lines.join(QLatin1Char('\n')));
}

void addUndoItems(MenuBuilder& m)
{
    QUndoStack& stack = FileOperationManager::shared().undoStack();
    QAction* undo = m.add("undo:", "取り消す", {"Ctrl+Z"}, [&stack] { stack.undo(); });
    QAction* redo = m.add("redo:", "やり直す", {"Ctrl+Shift+Z"}, [&stack] { stack.redo(); });
    // Kept current from the stack itself, so that the shortcuts follow it too.
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

void addClipboardItems(MenuBuilder& m, BrowserWindow& w)
{
    m.add("cut:", "カット", {"Ctrl+X"},
          onActions(w, [](PaneFileActions& a) { a.copyToClipboard(true); }));
    m.add("copy:", "コピー", {"Ctrl+C"},
          onActions(w, [](PaneFileActions& a) { a.copyToClipboard(false); }));
    auto canPaste = [&w] { return w.activePane() && w.activePane()->fileActions().canPaste(); };
    m.setValid(m.add("paste:", "ペースト", {"Ctrl+V"},
                     onActions(w, [](PaneFileActions& a) { a.paste(false); })),
               canPaste);
    m.setValid(m.add("moveHere:", "ここに移動", {"Ctrl+Alt+V"},
                     onActions(w, [](PaneFileActions& a) { a.paste(true); })),
               canPaste);
    m.add("selectAll:", "すべてを選択", {"Ctrl+A"}, [&w] {
        if (PaneView* pane = w.activePane())
            pane->listView()->selectAll();
    });
    m.add("beginFilter:", "絞り込み", {"Ctrl+F"},
          [&w] { w.withActivePane(&PaneView::beginFilter); });
}

void addPathItems(MenuBuilder& m, BrowserWindow& w)
{
    auto hasPaths = [&w] { return !pathsToCopy(w).empty(); };
    m.setValid(m.add("copyPath:", "パスをコピー", {"Ctrl+Alt+C"},
                     [&w] {
                         copyLines(pathsToCopy(w),
                                   [](const fs::path& path) { return PathText::display(path); });
                     }),
               hasPaths);
    m.setValid(m.add("copyTildePath:", "パスをコピー（~ 形式）", {"Ctrl+Alt+Shift+C"},
                     [&w] {
                         copyLines(pathsToCopy(w), [](const fs::path& path) {
                             return PathText::abbreviated(path);
                         });
                     }),
               hasPaths);
    m.setValid(m.add("copyRelativePath:", "リポジトリからの相対パスをコピー", {},
                     [&w] {
                         if (const auto root = repositoryRoot(w))
                             copyLines(pathsToCopy(w), [&root](const fs::path& path) {
                                 return relativeText(path, *root);
                             });
                     }),
               [&w] { return repositoryRoot(w).has_value(); });
    m.setValid(m.add("copyShellQuotedPath:", "シェル用にパスをコピー", {},
                     [&w] { copyLines(pathsToCopy(w), shellQuoted); }),
               hasPaths);
}

// The selected folder, else the shown one.
std::optional<fs::path> terminalFolder(const BrowserWindow& w)
{
    PaneView* pane = w.activePane();
    if (!pane)
        return std::nullopt;
    if (auto selected = GoMenu::selectedFolder(*pane))
        return selected;
    if (pane->location().isFolder())
        return pane->location().path();
    return std::nullopt;
}

void addExternalAppItems(MenuBuilder& m, BrowserWindow& w)
{
    auto apps = [] { return AppCommands::installed(); };
    auto terminalReason = [apps] {
        return apps() ? apps()->terminalUnavailableReason() : QString();
    };
    auto editorReason = [apps] { return apps() ? apps()->editorUnavailableReason() : QString(); };
    QAction* terminal = m.add("openInTerminal:", "ターミナルで開く", {"Ctrl+Alt+T"}, [&w, apps] {
        if (const auto folder = terminalFolder(w))
            apps()->openInTerminal(*folder);
    });
    m.setValid(terminal, [&w, apps] {
        return apps() && apps()->canOpenInTerminal() && terminalFolder(w).has_value();
    });
    m.setReason(terminal, terminalReason);
    QAction* editor = m.add("openInEditor:", "エディタで開く", {"Ctrl+Alt+E"},
                            [&w, apps] { apps()->openInEditor(w.activePane()->selectedPaths()); });
    m.setValid(editor, [&w, apps] {
        return apps() && apps()->canOpenInEditor() && w.activePane() &&
               !w.activePane()->selectedPaths().empty();
    });
    m.setReason(editor, editorReason);
    QAction* repository =
        m.add("openRepositoryInEditor:", "リポジトリのルートをエディタで開く", {}, [&w, apps] {
            if (const auto root = repositoryRoot(w))
                apps()->openInEditor({*root});
        });
    m.setValid(repository, [&w, apps] {
        return apps() && apps()->canOpenInEditor() && repositoryRoot(w).has_value();
    });
    m.setReason(repository, editorReason);
}

void addItemCommands(MenuBuilder& m, BrowserWindow& w)
{
    m.add("newFolder:", "新規フォルダ", {"Ctrl+Shift+N"},
          onActions(w, [](PaneFileActions& a) { a.newFolder(); }));
    m.add("newFile:", "新規ファイル", {"Ctrl+Alt+N"},
          onActions(w, [](PaneFileActions& a) { a.newFile(); }));
    m.separator();
    m.add("openSelection:", "開く", {"Ctrl+O"},
          [&w] { w.withActivePane(&PaneView::openSelection); });
    m.add("renameSelection:", "名前を変更", {"", {"F2"}},
          [&w] { w.withActivePane(&PaneView::beginRename); });
    auto hasSelection = [&w] { return w.activePane() && !w.activePane()->selectedPaths().empty(); };
    m.setValid(m.add("bulkRename:", "一括で名前を変更…", {},
                     onActions(w, [](PaneFileActions& a) { a.bulkRename(); })),
               hasSelection);
    m.add("showInfo:", "情報を見る", {"Ctrl+I"}, [&w] { InfoWindows::open(pathsToCopy(w), &w); });
    m.add("duplicate:", "複製", {"Ctrl+D"},
          onActions(w, [](PaneFileActions& a) { a.duplicate(); }));
    m.setValid(m.add("makeSymbolicLink:", "シンボリックリンクを作成", {},
                     onActions(w, [](PaneFileActions& a) { a.makeSymbolicLinks(); })),
               [&w] { return w.activePane() && w.activePane()->fileActions().canMakeLinks(); });
    m.setValid(
        m.add("compress:", "圧縮", {}, onActions(w, [](PaneFileActions& a) { a.compress(); })),
        hasSelection);
    m.setValid(
        m.add("expandArchive:", "展開", {}, onActions(w, [](PaneFileActions& a) { a.expand(); })),
        [&w] { return w.activePane() && w.activePane()->fileActions().canExpand(); });
    m.setValid(
        m.add("toggleQuickLook:", "クイックルック", {"Ctrl+Y"}, [&w] { w.toggleQuickLook(); }),
        [&w] {
            PaneView* pane = w.activePane();
            return w.isQuickLookOpen() ||
                   (pane && pane->listView()->selectionModel()->hasSelection());
        });
    m.separator();
    m.add("moveToTrash:", "ゴミ箱に入れる", {"Ctrl+Backspace", {"Delete"}},
          onActions(w, [](PaneFileActions& a) { a.moveToTrash(); }));
    m.add("deleteImmediately:", "すぐに削除…", {"Ctrl+Alt+Backspace", {"Shift+Delete"}},
          onActions(w, [](PaneFileActions& a) { a.deleteImmediately(); }));
}

} // namespace

namespace FileCommandMenus {

void buildFileMenu(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "ファイル");
    m.addAppCommand("newWindow:", "新規ウィンドウ", {"Ctrl+N"}, &AppCommands::newWindow);
    m.add("newWindowForTab:", "新規タブ", {"Ctrl+T"}, [&w] {
        if (PaneView* pane = w.activePane())
            w.newTab(pane->location());
    });
    m.addAppCommand("reopenClosedTab:", "閉じたタブを開く", {"Ctrl+Shift+T"},
                    &AppCommands::reopenClosedTab,
                    [] { return AppCommands::installed()->canReopenClosedTab(); });
    m.separator();
    addItemCommands(m, w);
    m.separator();
    addExternalAppItems(m, w);
    m.separator();
    m.add("copyToOtherPane:", "反対側の画面へコピー", {"F5"},
          [&w] { transferToOtherPane(w, TransferMode::copy); });
    m.add("moveToOtherPane:", "反対側の画面へ移動", {"F6"},
          [&w] { transferToOtherPane(w, TransferMode::move); });
    m.separator();
    m.add("addToSidebar:", "お気に入りに追加", {"Meta+Ctrl+T"}, [&w] {
        if (PaneView* pane = w.activePane())
            SidebarView::addToFavorites(*pane, SidebarStore::shared());
    });
    m.setValid(m.add("editTags:", "タグを編集…", {"Ctrl+Alt+G"},
                     [&w] { TagEditorDialog::showFor(&w, w.activePane()->selectedPaths()); }),
               [&w] { return w.activePane() && !w.activePane()->selectedPaths().empty(); });
    m.separator();
    m.add("performClose:", "閉じる", {"Ctrl+W"}, [&w] { w.closeCurrentTab(); });
}

void buildEditMenu(BrowserWindow& w)
{
    MenuBuilder m(w.menuBar(), "編集");
    addUndoItems(m);
    m.separator();
    addClipboardItems(m, w);
    m.separator();
    addPathItems(m, w);
}

} // namespace FileCommandMenus
