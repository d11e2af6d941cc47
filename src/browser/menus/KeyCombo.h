#pragma once

#include <QJsonObject>
#include <QKeySequence>
#include <QString>
#include <optional>

class QKeyEvent;

// A menu item's key equivalent as it is stored: the key as text (lower-case
// letters, punctuation, or the private-use characters of the function, arrow and
// editing keys) and the modifier bits. ⌘ is Ctrl, ⌥ Alt, ⌃ Meta and ⇧ Shift, so
// the stored overrides mean the same keys on every platform.
struct KeyCombo {
    static constexpr unsigned kShift = 0x20000;
    static constexpr unsigned kControl = 0x40000;  // Meta on Linux
    static constexpr unsigned kOption = 0x80000;   // Alt
    static constexpr unsigned kCommand = 0x100000; // Ctrl on Linux
    static constexpr unsigned kModifierMask = kShift | kControl | kOption | kCommand;

    QString key; // empty: no shortcut
    unsigned modifiers = 0;

    bool isEmpty() const { return key.isEmpty(); }
    bool operator==(const KeyCombo&) const = default;

    QJsonObject toJson() const;
    // Nothing unless the value is an object with a text "key" and an unsigned "modifiers".
    static std::optional<KeyCombo> fromJson(const QJsonValue& value);

    // What a key press records; nothing for a press without a character (a modifier alone).
    static std::optional<KeyCombo> fromEvent(const QKeyEvent& event);
    // The first key of the sequence; empty for an empty sequence.
    static KeyCombo fromKeySequence(const QKeySequence& sequence);
    QKeySequence toKeySequence() const;

    // The platform's own text of the shortcut ("Ctrl+Shift+K"); empty without a key.
    QString displayText() const;

    // Why a recorded combo cannot be used on its own, or empty: every key but F1-F12
    // needs a modifier, or typing in the list would trigger it.
    QString modifierRefusal() const;
    static QString conflictMessage(const QString& title);
};

size_t qHash(const KeyCombo& combo, size_t seed = 0) noexcept;
