#include "browser/menus/ShortcutStore.h"

#include "core/AppDefaults.h"
#include "core/MainThread.h"

#include <QAction>
#include <QJsonDocument>
#include <QJsonObject>
#include <QJsonParseError>
#include <algorithm>

namespace {

const QString kOverridesKey = QStringLiteral("shortcutOverrides");

QByteArray storedOverrides()
{
    const QVariant value = AppDefaults::store().value(kOverridesKey);
    if (value.typeId() == QMetaType::QByteArray)
        return value.toByteArray();
    if (value.typeId() == QMetaType::QString) // an INI file edited by hand
        return value.toString().toUtf8();
    return {};
}

} // namespace

ShortcutStore& ShortcutStore::shared()
{
    QUILLO_ASSERT_MAIN_THREAD();
    static ShortcutStore* instance = new ShortcutStore;
    return *instance;
}

QString ShortcutStore::identifier(const QAction* action)
{
    return action ? action->property(kIdentifierProperty).toString() : QString();
}

void ShortcutStore::add(QAction* action, const QString& menuPath, const KeyCombo& defaultCombo,
                        const QList<KeyCombo>& secondCombos)
{
    QUILLO_ASSERT_MAIN_THREAD();
    const QString id = identifier(action);
    if (id.isEmpty())
        return;
    if (!m_known.contains(id)) {
        m_order.push_back(id);
        m_known.insert(id, Known{menuPath, id.mid(id.indexOf(QLatin1Char('|')) + 1), defaultCombo});
    }
    std::erase_if(m_registered, [](const Registered& r) { return r.action.isNull(); });
    m_registered.push_back(Registered{action, id, secondCombos});
    const QHash<QString, KeyCombo> current = currentCombos(overrides());
    const QList<KeyCombo> values = current.values();
    applyTo(m_registered.back(), current, QSet<KeyCombo>(values.begin(), values.end()));
}

KeyCombo ShortcutStore::defaultCombo(const QString& identifier) const
{
    return m_known.value(identifier).defaultCombo;
}

KeyCombo ShortcutStore::combo(const QString& identifier) const
{
    return currentCombos(overrides()).value(identifier);
}

std::vector<ShortcutStore::Item> ShortcutStore::items() const
{
    const QHash<QString, KeyCombo> current = currentCombos(overrides());
    std::vector<Item> out;
    out.reserve(m_order.size());
    for (const QString& id : m_order) {
        const Known& known = m_known[id];
        out.push_back(Item{id, known.menuPath, known.title, current.value(id), known.defaultCombo});
    }
    return out;
}

QHash<QString, KeyCombo> ShortcutStore::overrides() const
{
    const QByteArray data = storedOverrides();
    if (data.isEmpty())
        return {};
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return {};
    QHash<QString, KeyCombo> out;
    const QJsonObject object = document.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        const std::optional<KeyCombo> combo = KeyCombo::fromJson(it.value());
        if (!combo) // one bad entry makes the value unreadable, as a whole
            return {};
        out.insert(it.key(), *combo);
    }
    return out;
}

void ShortcutStore::setOverrides(const QHash<QString, KeyCombo>& overrides)
{
    if (overrides == this->overrides())
        return;
    QSettings& store = AppDefaults::store();
    if (overrides.isEmpty()) {
        store.remove(kOverridesKey);
    } else {
        QJsonObject object;
        for (auto it = overrides.begin(); it != overrides.end(); ++it)
            object.insert(it.key(), it.value().toJson());
        store.setValue(kOverridesKey, QJsonDocument(object).toJson(QJsonDocument::Compact));
    }
    AppDefaults::save(store);
    changed();
}

QString ShortcutStore::conflict(const KeyCombo& combo, const QString& identifier) const
{
    if (combo.isEmpty())
        return {};
    const QHash<QString, KeyCombo> current = currentCombos(overrides());
    for (const QString& other : m_order) {
        if (other != identifier && current.value(other) == combo)
            return KeyCombo::conflictMessage(m_known[other].title);
    }
    return {};
}

QString ShortcutStore::set(const KeyCombo& combo, const QString& identifier)
{
    if (!m_known.contains(identifier))
        return {};
    if (QString refusal = conflict(combo, identifier); !refusal.isEmpty())
        return refusal;
    QHash<QString, KeyCombo> stored = overrides();
    if (combo == m_known[identifier].defaultCombo)
        stored.remove(identifier);
    else
        stored.insert(identifier, combo);
    setOverrides(stored);
    return {};
}

QString ShortcutStore::reset(const QString& identifier)
{
    return set(defaultCombo(identifier), identifier);
}

void ShortcutStore::resetAll()
{
    setOverrides({});
}

void ShortcutStore::apply()
{
    std::erase_if(m_registered, [](const Registered& r) { return r.action.isNull(); });
    const QHash<QString, KeyCombo> current = currentCombos(overrides());
    const QList<KeyCombo> values = current.values();
    const QSet<KeyCombo> taken(values.begin(), values.end());
    for (const Registered& registered : m_registered)
        applyTo(registered, current, taken);
}

QHash<QString, KeyCombo>
ShortcutStore::currentCombos(const QHash<QString, KeyCombo>& overrides) const
{
    QHash<QString, KeyCombo> current;
    for (auto it = m_known.begin(); it != m_known.end(); ++it)
        current.insert(it.key(), overrides.value(it.key(), it->defaultCombo));
    return current;
}

void ShortcutStore::applyTo(const Registered& registered, const QHash<QString, KeyCombo>& current,
                            const QSet<KeyCombo>& taken)
{
    QList<QKeySequence> sequences;
    const KeyCombo primary = current.value(registered.identifier);
    if (!primary.isEmpty())
        sequences << primary.toKeySequence();
    // A key that some item has as its shortcut would be ambiguous as a second one
    // (Qt then fires neither), so the person's choice wins.
    for (const KeyCombo& second : registered.secondCombos) {
        if (!taken.contains(second))
            sequences << second.toKeySequence();
    }
    registered.action->setShortcuts(sequences);
}

void ShortcutStore::changed()
{
    apply();
    Q_EMIT shortcutsChanged();
}
