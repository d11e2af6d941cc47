#include "core/Preferences.h"

#include "core/AppDefaults.h"

namespace {
const QString kShowHidden = QStringLiteral("showHiddenFiles");
const QString kSortKey = QStringLiteral("sortKey");
const QString kSortAscending = QStringLiteral("sortAscending");
const QString kFolderSizes = QStringLiteral("calculateFolderSizes");
const QString kColorFolders = QStringLiteral("colorFoldersByTag");
const QString kVimKeys = QStringLiteral("vimKeyBindings");
const QString kConfirmPaneTransfer = QStringLiteral("confirmPaneTransfer");
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

void Preferences::setBool(const QString& key, bool value, bool fallback)
{
    if (boolValue(key, fallback) == value)
        return;
    AppDefaults::store().setValue(key, value);
    AppDefaults::store().sync();
    Q_EMIT displayPreferencesChanged();
}

bool Preferences::showHiddenFiles() const
{
    return boolValue(kShowHidden, false);
}
void Preferences::setShowHiddenFiles(bool on)
{
    setBool(kShowHidden, on, false);
}

bool Preferences::calculateFolderSizes() const
{
    return boolValue(kFolderSizes, true);
}
void Preferences::setCalculateFolderSizes(bool on)
{
    setBool(kFolderSizes, on, true);
}

bool Preferences::colorFoldersByTag() const
{
    return boolValue(kColorFolders, true);
}
void Preferences::setColorFoldersByTag(bool on)
{
    setBool(kColorFolders, on, true);
}

bool Preferences::vimKeyBindings() const
{
    return boolValue(kVimKeys, false);
}
void Preferences::setVimKeyBindings(bool on)
{
    setBool(kVimKeys, on, false);
}

bool Preferences::confirmPaneTransfer() const
{
    return boolValue(kConfirmPaneTransfer, true);
}
void Preferences::setConfirmPaneTransfer(bool on)
{
    // Not a display setting: no listing changes, so no signal.
    if (confirmPaneTransfer() == on)
        return;
    AppDefaults::store().setValue(kConfirmPaneTransfer, on);
    AppDefaults::store().sync();
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
    AppDefaults::store().sync();
    Q_EMIT displayPreferencesChanged();
}
