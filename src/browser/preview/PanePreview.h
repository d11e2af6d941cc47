#pragma once

#include <QWidget>
#include <filesystem>
#include <optional>

class PaneView;
class PreviewWidget;
class QSplitter;

// The preview beside a pane's list: a splitter between the list area and a
// PreviewWidget showing the pane's one selected file. Shown while "markdownPreview"
// is on, in every pane at once; the divider keeps "markdownPreviewFraction" of the
// width, and dragging it stores a new fraction that every pane follows. Hidden, it
// loads nothing.
class PanePreview : public QWidget {
    Q_OBJECT
public:
    // `content` is the list area; it moves into the splitter's first place.
    PanePreview(PaneView& pane, QWidget* content, QWidget* parent = nullptr);
    ~PanePreview() override;

    bool isShown() const { return m_shown; }
    // Made on first show; null until then.
    PreviewWidget* previewWidget() const { return m_preview; }
    QSplitter* splitter() const { return m_splitter; }

    // Shows the file in this pane's preview, even while the setting is off, until the
    // setting changes. The pane's selection takes over once it has a row.
    void showItem(const std::filesystem::path& file);

    // The one selected item of the pane when it is not a folder; none shows the
    // placeholder (nothing, several items or a folder selected).
    static std::optional<std::filesystem::path> selectedFile(const PaneView& pane);
    // The zoom one step in (`direction` > 0) or out (< 0) from `current`, within 0.5 to 3.
    static double steppedZoom(double current, int direction);

protected:
    void resizeEvent(QResizeEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void settingChanged(const QString& key);
    void setShown(bool shown);
    void follow();
    void applyFraction();
    void storeFraction();
    void linkActivated(const std::filesystem::path& target);

    PaneView& m_pane;
    QSplitter* m_splitter = nullptr;
    PreviewWidget* m_preview = nullptr;
    bool m_shown = false;
    std::optional<std::filesystem::path> m_handedItem; // kept until the selection has a row
};
