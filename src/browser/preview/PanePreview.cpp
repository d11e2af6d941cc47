#include "browser/preview/PanePreview.h"

#include "browser/pane/FileListModel.h"
#include "browser/pane/PaneView.h"
#include "browser/preview/PreviewWidget.h"
#include "core/PathText.h"
#include "core/Preferences.h"
#include "files/FileNode.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QSplitter>
#include <array>
#include <cmath>

namespace fs = std::filesystem;

namespace {

const QString kShowKey = QStringLiteral("markdownPreview");
const QString kFractionKey = QStringLiteral("markdownPreviewFraction");

// Zoom steps as browsers offer them, so that in and out retrace the same values.
constexpr std::array kZoomSteps{0.5,  0.67, 0.75, 0.8, 0.9, 1.0, 1.1,
                                1.25, 1.5,  1.75, 2.0, 2.5, 3.0};
constexpr double kZoomSlack = 0.005;
// Splitter sizes are given in these units and scaled to the width by the splitter.
constexpr int kFractionScale = 10000;

} // namespace

PanePreview::PanePreview(PaneView& pane, QWidget* content, QWidget* parent)
    : QWidget(parent)
    , m_pane(pane)
{
    m_splitter = new QSplitter(Qt::Horizontal, this);
    m_splitter->setChildrenCollapsible(false);
    m_splitter->addWidget(content);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_splitter);

    QItemSelectionModel* selection = pane.listView()->selectionModel();
    connect(selection, &QItemSelectionModel::selectionChanged, this, &PanePreview::follow);
    // A reset or removed rows drop the selection without telling; look once they settle.
    connect(pane.model(), &QAbstractItemModel::modelReset, this, &PanePreview::follow,
            Qt::QueuedConnection);
    connect(pane.model(), &QAbstractItemModel::rowsRemoved, this, &PanePreview::follow,
            Qt::QueuedConnection);
    connect(&pane, &PaneView::locationChanged, this, &PanePreview::follow);
    connect(&Preferences::shared(), &Preferences::changed, this, &PanePreview::settingChanged);
    setShown(Preferences::shared().markdownPreview());
}

PanePreview::~PanePreview() = default;

void PanePreview::settingChanged(const QString& key)
{
    if (key == kShowKey)
        setShown(Preferences::shared().markdownPreview());
    else if (key == kFractionKey)
        applyFraction();
}

void PanePreview::setShown(bool shown)
{
    if (shown == m_shown)
        return;
    m_shown = shown;
    if (!shown) {
        // Hidden, the preview lets go of the page, image or player it held.
        m_preview->showPlaceholder();
        m_preview->hide();
        return;
    }
    if (!m_preview) {
        m_preview = new PreviewWidget(m_splitter);
        m_splitter->addWidget(m_preview);
        m_splitter->handle(1)->installEventFilter(this);
        connect(m_preview, &PreviewWidget::fileLinkActivated, this, &PanePreview::linkActivated);
    }
    m_preview->show();
    applyFraction();
    follow();
}

void PanePreview::showItem(const fs::path& file)
{
    m_handedItem = PathText::standardized(file);
    setShown(true);
    follow();
}

std::optional<fs::path> PanePreview::selectedFile(const PaneView& pane)
{
    // Walks the ranges, not selectedRows(): a selection of every row in a huge folder
    // must not build a list of all of them on each change.
    const QItemSelection selection = pane.listView()->selectionModel()->selection();
    QModelIndex only;
    for (const QItemSelectionRange& range : selection) {
        if (range.height() > 1)
            return std::nullopt;
        const QModelIndex row = QModelIndex(range.topLeft()).siblingAtColumn(0);
        if (only.isValid() && row != only)
            return std::nullopt;
        only = row;
    }
    if (!only.isValid())
        return std::nullopt;
    const FileNode* node = pane.model()->nodeForIndex(only);
    if (!node || node->entry.isFolder)
        return std::nullopt;
    return node->entry.path();
}

void PanePreview::follow()
{
    if (!m_shown)
        return;
    std::optional<fs::path> file = selectedFile(m_pane);
    const bool anySelected = m_pane.listView()->selectionModel()->hasSelection();
    if (anySelected)
        m_handedItem.reset();
    else if (m_handedItem)
        file = m_handedItem; // its folder is still being read
    m_preview->follow(file);
}

void PanePreview::applyFraction()
{
    if (!m_shown)
        return;
    const double fraction = Preferences::shared().markdownPreviewFraction();
    const int preview = int(std::lround(fraction * kFractionScale));
    m_splitter->setSizes({kFractionScale - preview, preview});
}

void PanePreview::storeFraction()
{
    const QList<int> sizes = m_splitter->sizes();
    const int total = sizes.value(0) + sizes.value(1);
    if (sizes.size() < 2 || total <= 0)
        return;
    Preferences::shared().setMarkdownPreviewFraction(double(sizes[1]) / total);
    // The same value stored again changes nothing; this pane still takes it exactly.
    applyFraction();
}

void PanePreview::resizeEvent(QResizeEvent* event)
{
    QWidget::resizeEvent(event);
    applyFraction();
}

bool PanePreview::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonRelease && watched == m_splitter->handle(1))
        storeFraction();
    return QWidget::eventFilter(watched, event);
}

void PanePreview::linkActivated(const fs::path& target)
{
    const fs::path file = PathText::standardized(target);
    const fs::path folder = PathText::parent(file);
    const Location& shown = m_pane.location();
    FileNode* root = m_pane.model()->root();
    // Listed here (in the folder or an expanded subfolder): select it in place.
    if (root && root->findByPath(file)) {
        m_pane.selectPaths({file});
        return;
    }
    if (shown.isFolder() && shown.path() == folder) {
        m_pane.selectWhenListed({file});
        return;
    }
    m_pane.navigate(Location::folder(folder), file);
}

double PanePreview::steppedZoom(double current, int direction)
{
    if (direction == 0)
        return 1.0;
    if (direction > 0) {
        for (double step : kZoomSteps) {
            if (step > current + kZoomSlack)
                return step;
        }
        return kZoomSteps.back();
    }
    for (auto step = kZoomSteps.rbegin(); step != kZoomSteps.rend(); ++step) {
        if (*step < current - kZoomSlack)
            return *step;
    }
    return kZoomSteps.front();
}
