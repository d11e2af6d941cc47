#include "core/Preferences.h"

#include "core/AppDefaults.h"

#include <cmath>

namespace {
const QString kShowHidden = QStringLiteral("showHiddenFiles");
const QString kSortKey = QStringLiteral("sortKey");
const QString kSortAscending = QStringLiteral("sortAscending");
const QString kFolderSizes = QStringLiteral("calculateFolderSizes");
const QString kColorFolders = QStringLiteral("colorFoldersByTag");
const QString kMirrorTags = QStringLiteral("mirrorTagsToExtendedAttributes");
const QString kVimKeys = QStringLiteral("vimKeyBindings");
const QString kConfirmPaneTransfer = QStringLiteral("confirmPaneTransfer");
const QString kCheckForUpdates = QStringLiteral("checkForUpdates");
const QString kMarkdownPreview = QStringLiteral("markdownPreview");
const QString kPreviewZoom = QStringLiteral("previewZoom");
const QString kPreviewFraction = QStringLiteral("markdownPreviewFraction");
const QString kPreviousHandlers = QStringLiteral("previousFileHandlers");
const QString kTerminal = QStringLiteral("terminalBundleIdentifier");
const QString kEditor = QStringLiteral("editorBundleIdentifier");
const QString kTerminalNewTab = QStringLiteral("openTerminalInNewTab");
const QString kSkippedUpdate = QStringLiteral("skippedUpdateVersion");
const QString kSuppressMove = QStringLiteral("suppressMoveToApplications");

std::optional<QString> textValue(const QString& key)
{
    const QVariant v = AppDefaults::store().value(key);
    if (v.typeId() != QMetaType::QString || v.toString().isEmpty())
        return std::nullopt;
    return v.toString();
}

constexpr double kDefaultZoom = 1.0;
constexpr double kDefaultFraction = 0.5;

bool isZoom(double value)
{
    return value > 0;
}

bool isFraction(double value)
{
    return value > 0 && value < 1;
}
} // namespace

Preferences& Preferences::shared()
{
    static Preferences* instance = new Preferences;
    return *instance;
}

bool Preferences::boolValue(const QString& key, bool fallback)
{
    const QVariant v = AppDefaults::store().value(key);
    if (v.typeId() == QMetaType::Bool)
        return v.toBool();
    if (v.typeId() == QMetaType::QString) {
        const QString s = v.toString();
        if (s == QStringLiteral("true"))
            return true;
        if (s == QStringLiteral("false"))
            return false;
    }
    return fallback;
}

std::optional<double> Preferences::realValue(const QString& key)
{
    const QVariant v = AppDefaults::store().value(key);
    double value = 0;
    bool ok = false;
    switch (v.typeId()) {
    case QMetaType::Double:
    case QMetaType::Float:
    case QMetaType::Int:
    case QMetaType::LongLong:
        value = v.toDouble(&ok);
        break;
    case QMetaType::QString:
        // QString::toDouble reads the C locale, the form QSettings writes.
        value = v.toString().trimmed().toDouble(&ok);
        break;
    default:
        break;
    }
    if (!ok || !std::isfinite(value))
        return std::nullopt;
    return value;
}

void Preferences::setBool(const QString& key, bool value, bool fallback, bool display)
{
    if (boolValue(key, fallback) == value)
        return;
    AppDefaults::store().setValue(key, value);
    AppDefaults::save(AppDefaults::store());
    if (display)
        Q_EMIT displayPreferencesChanged();
    Q_EMIT changed(key);
}

void Preferences::setText(const QString& key, const QString& value)
{
    if (textValue(key).value_or(QString()) == value)
        return;
    if (value.isEmpty())
        AppDefaults::store().remove(key);
    else
        AppDefaults::store().setValue(key, value);
    AppDefaults::save(AppDefaults::store());
    Q_EMIT changed(key);
}

void Preferences::setReal(const QString& key, double value, double current)
{
    if (!std::isfinite(value) || value == current)
        return;
    AppDefaults::store().setValue(key, value);
    AppDefaults::save(AppDefaults::store());
    Q_EMIT changed(key);
}

bool Preferences::showHiddenFiles() const
{
    return boolValue(kShowHidden, false);
}
void Preferences::setShowHiddenFiles(bool on)
{
    setBool(kShowHidden, on, false, true);
}

bool Preferences::calculateFolderSizes() const
{
    return boolValue(kFolderSizes, true);
}
void Preferences::setCalculateFolderSizes(bool on)
{
    setBool(kFolderSizes, on, true, true);
}

bool Preferences::colorFoldersByTag() const
{
    return boolValue(kColorFolders, true);
}
void Preferences::setColorFoldersByTag(bool on)
{
    setBool(kColorFolders, on, true, true);
}

bool Preferences::mirrorTagsToAttributes() const
{
    return boolValue(kMirrorTags, true);
}
void Preferences::setMirrorTagsToAttributes(bool on)
{
    setBool(kMirrorTags, on, true, false);
}

bool Preferences::vimKeyBindings() const
{
    return boolValue(kVimKeys, false);
}
void Preferences::setVimKeyBindings(bool on)
{
    setBool(kVimKeys, on, false, true);
}

bool Preferences::confirmPaneTransfer() const
{
    return boolValue(kConfirmPaneTransfer, true);
}
void Preferences::setConfirmPaneTransfer(bool on)
{
    // Not a display setting: no listing changes.
    setBool(kConfirmPaneTransfer, on, true, false);
}

std::optional<QString> Preferences::terminalIdentifier() const
{
    return textValue(kTerminal);
}

std::optional<QString> Preferences::editorIdentifier() const
{
    return textValue(kEditor);
}

bool Preferences::openTerminalInNewTab() const
{
    return boolValue(kTerminalNewTab, false);
}
void Preferences::setOpenTerminalInNewTab(bool on)
{
    setBool(kTerminalNewTab, on, false, false);
}

void Preferences::setTerminalIdentifier(const QString& desktopId)
{
    setText(kTerminal, desktopId);
}
void Preferences::setEditorIdentifier(const QString& desktopId)
{
    setText(kEditor, desktopId);
}

std::optional<QString> Preferences::skippedUpdateVersion() const
{
    return textValue(kSkippedUpdate);
}
void Preferences::setSkippedUpdateVersion(const QString& version)
{
    setText(kSkippedUpdate, version);
}

bool Preferences::suppressMoveToApplications() const
{
    return boolValue(kSuppressMove, false);
}
void Preferences::setSuppressMoveToApplications(bool on)
{
    setBool(kSuppressMove, on, false, false);
}

bool Preferences::checkForUpdates() const
{
    return boolValue(kCheckForUpdates, true);
}
void Preferences::setCheckForUpdates(bool on)
{
    setBool(kCheckForUpdates, on, true, false);
}

bool Preferences::markdownPreview() const
{
    return boolValue(kMarkdownPreview, true);
}
void Preferences::setMarkdownPreview(bool on)
{
    setBool(kMarkdownPreview, on, true, false);
}

double Preferences::previewZoom() const
{
    const std::optional<double> zoom = realValue(kPreviewZoom);
    return zoom && isZoom(*zoom) ? *zoom : kDefaultZoom;
}
void Preferences::setPreviewZoom(double zoom)
{
    if (isZoom(zoom))
        setReal(kPreviewZoom, zoom, previewZoom());
}

double Preferences::markdownPreviewFraction() const
{
    const std::optional<double> fraction = realValue(kPreviewFraction);
    return fraction && isFraction(*fraction) ? *fraction : kDefaultFraction;
}
void Preferences::setMarkdownPreviewFraction(double fraction)
{
    if (isFraction(fraction))
        setReal(kPreviewFraction, fraction, markdownPreviewFraction());
}

QMap<QString, QString> Preferences::previousFileHandlers() const
{
    const QVariant v = AppDefaults::store().value(kPreviousHandlers);
    if (v.typeId() != QMetaType::QVariantMap)
        return {};
    QMap<QString, QString> handlers;
    const QVariantMap map = v.toMap();
    for (auto it = map.begin(); it != map.end(); ++it) {
        // One value of another type makes the whole dictionary unusable.
        if (it.value().typeId() != QMetaType::QString)
            return {};
        handlers.insert(it.key(), it.value().toString());
    }
    return handlers;
}

void Preferences::setPreviousFileHandlers(const QMap<QString, QString>& handlers)
{
    if (previousFileHandlers() == handlers &&
        AppDefaults::store().contains(kPreviousHandlers) == !handlers.isEmpty())
        return;
    if (handlers.isEmpty()) {
        AppDefaults::store().remove(kPreviousHandlers);
    } else {
        QVariantMap map;
        for (auto it = handlers.begin(); it != handlers.end(); ++it)
            map.insert(it.key(), it.value());
        AppDefaults::store().setValue(kPreviousHandlers, map);
    }
    AppDefaults::save(AppDefaults::store());
    Q_EMIT changed(kPreviousHandlers);
}

FileSort Preferences::sort() const
{
    FileSort sort;
    const QVariant key = AppDefaults::store().value(kSortKey);
    if (key.typeId() == QMetaType::QString)
        sort.key = fileSortKeyFromRaw(key.toString()).value_or(FileSortKey::name);
    sort.ascending = boolValue(kSortAscending, true);
    return sort;
}

void Preferences::setSort(const FileSort& sort)
{
    if (this->sort() == sort)
        return;
    AppDefaults::store().setValue(kSortKey, rawValue(sort.key));
    AppDefaults::store().setValue(kSortAscending, sort.ascending);
    AppDefaults::save(AppDefaults::store());
    Q_EMIT displayPreferencesChanged();
    Q_EMIT changed(kSortKey);
}
