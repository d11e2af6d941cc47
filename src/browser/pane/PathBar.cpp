#include "browser/pane/PathBar.h"

#include "browser/pane/IconCache.h"
#include "core/PathText.h"
#include "palette/PathCompletion.h"
#include "platform/DirectoryScanner.h"
#include "tags/TagStore.h"

#include <QApplication>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLineEdit>
#include <QStackedLayout>
#include <QToolButton>
#include <QtConcurrent>

PathBar::PathBar(QWidget* parent)
    : QWidget(parent)
{
    m_stack = new QStackedLayout(this);
    m_stack->setContentsMargins(0, 0, 0, 0);
    m_segments = new QWidget(this);
    m_segmentLayout = new QHBoxLayout(m_segments);
    m_segmentLayout->setContentsMargins(4, 0, 4, 0);
    m_segmentLayout->setSpacing(0);
    m_edit = new QLineEdit(this);
    m_edit->setPlaceholderText(QStringLiteral("パスを入力"));
    m_edit->installEventFilter(this);
    m_stack->addWidget(m_segments);
    m_stack->addWidget(m_edit);
    setFixedHeight(m_edit->sizeHint().height() + 2);
    connect(m_edit, &QLineEdit::returnPressed, this, [this] {
        const QString text = m_edit->text();
        endEditing();
        Q_EMIT editingFinished(true);
        resolveTypedPath(text);
    });
}

void PathBar::setLocation(const Location& location)
{
    m_location = location;
    rebuildSegments();
}

void PathBar::rebuildSegments()
{
    while (QLayoutItem* item = m_segmentLayout->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    if (m_location.isTag()) {
        auto* label = new QToolButton(m_segments);
        label->setText(m_location.displayName());
        const auto tag = TagStore::shared().tag(m_location.tagId());
        label->setIcon(IconCache::dot(tag ? tag->color : QString()));
        label->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        label->setAutoRaise(true);
        m_segmentLayout->addWidget(label);
        m_segmentLayout->addStretch(1);
        return;
    }
    // Each segment keeps the byte-exact prefix, so a name that is not UTF-8 still opens.
    std::vector<std::filesystem::path> prefixes;
    for (auto p = m_location.path();; p = PathText::parent(p)) {
        prefixes.push_back(p);
        if (p == "/" || p == "." || p.empty())
            break;
    }
    for (auto it = prefixes.rbegin(); it != prefixes.rend(); ++it) {
        if (it != prefixes.rbegin()) {
            auto* separator = new QToolButton(m_segments);
            separator->setText(QStringLiteral("›"));
            separator->setAutoRaise(true);
            separator->setEnabled(false);
            m_segmentLayout->addWidget(separator);
        }
        auto* button = new QToolButton(m_segments);
        button->setText(PathText::displayName(*it));
        button->setAutoRaise(true);
        button->setFocusPolicy(Qt::NoFocus);
        const std::filesystem::path target = *it;
        connect(button, &QToolButton::clicked, this,
                [this, target] { Q_EMIT segmentClicked(target); });
        m_segmentLayout->addWidget(button);
    }
    m_segmentLayout->addStretch(1);
}

void PathBar::beginEditing()
{
    m_edit->setText(m_location.isFolder() ? PathText::display(m_location.path())
                                          : m_location.toText());
    m_stack->setCurrentWidget(m_edit);
    m_edit->selectAll();
    m_edit->setFocus(Qt::ShortcutFocusReason);
}

void PathBar::endEditing()
{
    m_stack->setCurrentWidget(m_segments);
}

bool PathBar::isEditing() const
{
    return m_stack->currentWidget() == m_edit;
}

namespace {

// Plain Tab, which completes while typing (Shift+Tab still moves the focus back).
bool isCompletionKey(const QEvent* event)
{
    if (event->type() != QEvent::KeyPress && event->type() != QEvent::ShortcutOverride)
        return false;
    const auto* key = static_cast<const QKeyEvent*>(event);
    return key->key() == Qt::Key_Tab && (key->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier;
}

} // namespace

bool PathBar::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_edit && isEditing() && isCompletionKey(event)) {
        // Claimed before any window shortcut and before the focus chain sees it.
        event->accept();
        if (event->type() == QEvent::KeyPress)
            completeTypedPath();
        return true;
    }
    if (watched == m_edit && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Escape) {
        endEditing();
        Q_EMIT editingFinished(true);
        return true;
    }
    if (watched == m_edit && event->type() == QEvent::FocusOut && isEditing()) {
        endEditing();
        Q_EMIT editingFinished(false);
    }
    return QWidget::eventFilter(watched, event);
}

void PathBar::setMarked(bool marked)
{
    setAutoFillBackground(true);
    QPalette colours = palette();
    colours.setColor(QPalette::Window,
                     marked ? QApplication::palette().color(QPalette::Highlight).lighter(170)
                            : QApplication::palette().color(QPalette::Window));
    setPalette(colours);
}

void PathBar::resolveTypedPath(const QString& typed)
{
    const QString text = typed.trimmed();
    if (text.isEmpty())
        return;
    const Location typedLocation = Location::fromText(text);
    if (typedLocation.isTag()) {
        Q_EMIT locationEntered(typedLocation, std::nullopt);
        return;
    }
    // The storable forms keep a base or home whose name is not UTF-8 byte-exact.
    const QString home = PathText::toStorableText(PathText::homeFolder());
    const std::filesystem::path path = PathText::standardized(
        PathText::fromStorableText(PathCompletion::expand(text, baseFolder(), home)));
    QtConcurrent::run([path] {
        return DirectoryScanner::isDirectory(path) || !DirectoryScanner::exists(path);
    }).then(this, [this, path](bool folderOrMissing) {
        if (folderOrMissing)
            Q_EMIT locationEntered(Location::folder(path), std::nullopt);
        else
            Q_EMIT locationEntered(Location::folder(PathText::parent(path)), path);
    });
}

std::filesystem::path PathBar::baseFolder() const
{
    // A tag has no folder to be relative to; home is where typed names make sense.
    return m_location.isFolder() ? m_location.path() : PathText::homeFolder();
}

void PathBar::completeTypedPath()
{
    const QString typed = m_edit->text();
    const std::filesystem::path base = baseFolder();
    const QString home = PathText::toStorableText(PathText::homeFolder());
    QtConcurrent::run([typed, base, home] {
        return PathCompletion::complete(typed, base, home);
    }).then(this, [this, typed](const QString& completed) {
        // Typing went on meanwhile: the completion is for text no longer there.
        if (!isEditing() || m_edit->text() != typed || completed == typed)
            return;
        m_edit->setText(completed);
        m_edit->end(false);
    });
}
