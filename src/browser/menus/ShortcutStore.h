#pragma once

#include "browser/menus/KeyCombo.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QSet>
#include <vector>

class QAction;

// The user's own shortcuts for menu items. Every window's menu registers its
// items here; the first registration of an identifier ("newWindow:|新規ウィンドウ")
// records the item's default. Overrides live in AppDefaults::store() under
// "shortcutOverrides" and are applied to every registered item of every window
// at once. Only the primary shortcut is customisable; an item's Linux second
// shortcuts stay unless some item's shortcut takes their key. Main thread only.
class ShortcutStore : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kIdentifierProperty = "quilloMenuIdentifier";

    struct Item {
        QString identifier;
        QString menuPath; // "表示 › 並び順"
        QString title;
        KeyCombo combo;
        KeyCombo defaultCombo;
    };

    static ShortcutStore& shared();

    // Takes a menu item carrying kIdentifierProperty and gives it its shortcuts, now
    // and after every change; forgets it when it is destroyed.
    void add(QAction* action, const QString& menuPath, const KeyCombo& defaultCombo,
             const QList<KeyCombo>& secondCombos);
    static QString identifier(const QAction* action);

    KeyCombo defaultCombo(const QString& identifier) const;
    KeyCombo combo(const QString& identifier) const;
    // Every known item in menu order, depth first.
    std::vector<Item> items() const;

    // What is stored; empty when the value is missing or unreadable.
    QHash<QString, KeyCombo> overrides() const;
    void setOverrides(const QHash<QString, KeyCombo>& overrides);

    // The refusal for giving `combo` to `identifier` when another item has it; empty when free.
    QString conflict(const KeyCombo& combo, const QString& identifier) const;
    // Stores `combo` (an empty one removes the shortcut); a combo equal to the
    // default removes the override. Returns the refusal, or empty when stored.
    QString set(const KeyCombo& combo, const QString& identifier);
    QString reset(const QString& identifier);
    void resetAll();

    // Gives every registered item its current shortcuts again.
    void apply();

Q_SIGNALS:
    void shortcutsChanged();

private:
    struct Known {
        QString menuPath;
        QString title;
        KeyCombo defaultCombo;
    };
    struct Registered {
        QPointer<QAction> action;
        QString identifier;
        QList<KeyCombo> secondCombos;
    };

    ShortcutStore() = default;
    QHash<QString, KeyCombo> currentCombos(const QHash<QString, KeyCombo>& overrides) const;
    static void applyTo(const Registered& registered, const QHash<QString, KeyCombo>& current,
                        const QSet<KeyCombo>& taken);
    void changed();

    std::vector<QString> m_order;
    QHash<QString, Known> m_known;
    std::vector<Registered> m_registered;
};
