#pragma once

#include <QPointer>
#include <QWidget>
#include <filesystem>
#include <optional>

class BrowserWindow;
class PaneView;
class PreviewWidget;

// Quick Look: a tool window over its browser window with a preview of the active
// pane's selection. It never takes the focus, so the list keeps the keys: Up and
// Down move on and the window follows; Space, Escape or Ctrl+Y close it.
class QuickLookWindow : public QWidget {
    Q_OBJECT
public:
    explicit QuickLookWindow(BrowserWindow& owner);
    ~QuickLookWindow() override;

    bool isOpen() const { return isVisible(); }
    void open();
    void toggle();
    PreviewWidget* previewWidget() const { return m_preview; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void bindActivePane();
    void unbind();
    void follow();
    void place();

    BrowserWindow& m_owner;
    PreviewWidget* m_preview = nullptr;
    QPointer<PaneView> m_pane;
};
