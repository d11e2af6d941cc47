#include "browser/menus/KeyCombo.h"

#include <QHashFunctions>
#include <QJsonValue>
#include <QKeyEvent>
#include <array>
#include <cstdint>
#include <utility>

namespace {

const QString kKeyField = QStringLiteral("key");
const QString kModifiersField = QStringLiteral("modifiers");

constexpr char32_t kF1 = 0xF704;
constexpr char32_t kF12 = 0xF70F;

// Keys without a character of their own, written as the function-key characters
// that stored shortcuts use (arrows U+F700, F1 U+F704 ... F35 U+F726 and so on).
constexpr std::array<std::pair<Qt::Key, char32_t>, 26> kSpecialKeys = {{
    {Qt::Key_Up, 0xF700},       {Qt::Key_Down, 0xF701},      {Qt::Key_Left, 0xF702},
    {Qt::Key_Right, 0xF703},    {Qt::Key_Insert, 0xF727},    {Qt::Key_Delete, 0xF728},
    {Qt::Key_Home, 0xF729},     {Qt::Key_End, 0xF72B},       {Qt::Key_PageUp, 0xF72C},
    {Qt::Key_PageDown, 0xF72D}, {Qt::Key_Print, 0xF72E},     {Qt::Key_ScrollLock, 0xF72F},
    {Qt::Key_Pause, 0xF730},    {Qt::Key_SysReq, 0xF731},    {Qt::Key_Menu, 0xF735},
    {Qt::Key_Clear, 0xF739},    {Qt::Key_Select, 0xF741},    {Qt::Key_Execute, 0xF742},
    {Qt::Key_Undo, 0xF743},     {Qt::Key_Redo, 0xF744},      {Qt::Key_Find, 0xF745},
    {Qt::Key_Help, 0xF746},     {Qt::Key_Backspace, 0x0008}, {Qt::Key_Tab, 0x0009},
    {Qt::Key_Return, 0x000D},   {Qt::Key_Escape, 0x001B},
}};

std::optional<char32_t> specialCharacter(int key)
{
    if (key >= Qt::Key_F1 && key <= Qt::Key_F35)
        return char32_t(kF1 + (key - Qt::Key_F1));
    if (key == Qt::Key_Backtab) // Shift+Tab; the shift is in the modifiers already
        return char32_t(0x0009);
    if (key == Qt::Key_Enter)
        return char32_t(0x0003);
    for (const auto& [qtKey, character] : kSpecialKeys) {
        if (qtKey == key)
            return character;
    }
    return std::nullopt;
}

std::optional<int> specialKey(char32_t character)
{
    if (character >= kF1 && character <= kF1 + (Qt::Key_F35 - Qt::Key_F1))
        return Qt::Key_F1 + int(character - kF1);
    if (character == 0x0003)
        return Qt::Key_Enter;
    for (const auto& [qtKey, special] : kSpecialKeys) {
        if (special == character)
            return qtKey;
    }
    return std::nullopt;
}

QString textOf(char32_t character)
{
    return QString::fromUcs4(&character, 1);
}

bool isCased(char32_t character)
{
    return QChar::toLower(character) != QChar::toUpper(character);
}

unsigned bitsOf(Qt::KeyboardModifiers modifiers)
{
    unsigned bits = 0;
    if (modifiers & Qt::ShiftModifier)
        bits |= KeyCombo::kShift;
    if (modifiers & Qt::MetaModifier)
        bits |= KeyCombo::kControl;
    if (modifiers & Qt::AltModifier)
        bits |= KeyCombo::kOption;
    if (modifiers & Qt::ControlModifier)
        bits |= KeyCombo::kCommand;
    return bits;
}

Qt::KeyboardModifiers qtModifiersOf(unsigned bits)
{
    Qt::KeyboardModifiers modifiers;
    if (bits & KeyCombo::kShift)
        modifiers |= Qt::ShiftModifier;
    if (bits & KeyCombo::kControl)
        modifiers |= Qt::MetaModifier;
    if (bits & KeyCombo::kOption)
        modifiers |= Qt::AltModifier;
    if (bits & KeyCombo::kCommand)
        modifiers |= Qt::ControlModifier;
    return modifiers;
}

} // namespace

QJsonObject KeyCombo::toJson() const
{
    return QJsonObject{{kKeyField, key}, {kModifiersField, double(modifiers)}};
}

std::optional<KeyCombo> KeyCombo::fromJson(const QJsonValue& value)
{
    const QJsonObject object = value.toObject();
    const QJsonValue key = object.value(kKeyField);
    const QJsonValue modifiers = object.value(kModifiersField);
    if (!value.isObject() || !key.isString() || !modifiers.isDouble())
        return std::nullopt;
    const double bits = modifiers.toDouble();
    if (bits < 0 || bits > double(UINT32_MAX) || bits != double(qint64(bits)))
        return std::nullopt;
    return KeyCombo{key.toString(), unsigned(qint64(bits)) & kModifierMask};
}

std::optional<KeyCombo> KeyCombo::fromEvent(const QKeyEvent& event)
{
    unsigned modifiers = bitsOf(event.modifiers());
    const int key = event.key();
    if (const auto special = specialCharacter(key))
        return KeyCombo{textOf(*special), modifiers};
    // Qt reports a printable key by its character (letters in upper case) whatever
    // Ctrl or Alt did to the text; modifier keys and the like lie above Unicode.
    char32_t character = 0;
    if (key > 0x20 && key <= 0x10FFFF)
        character = char32_t(key);
    else if (key == Qt::Key_Space)
        character = U' ';
    else if (const QString text = event.text(); !text.isEmpty() && text.at(0).isPrint())
        character = text.toUcs4().front();
    if (!character)
        return std::nullopt;
    // A symbol already says what Shift did to the key ("Ctrl+Shift+1" arrives as
    // "Ctrl+!"), and Linux matches such shortcuts without the Shift.
    if (!isCased(character) && character != U' ')
        modifiers &= ~kShift;
    return KeyCombo{textOf(QChar::toLower(character)), modifiers};
}

KeyCombo KeyCombo::fromKeySequence(const QKeySequence& sequence)
{
    if (sequence.isEmpty())
        return {};
    const QKeyCombination combination = sequence[0];
    const int key = int(combination.key());
    const unsigned modifiers = bitsOf(combination.keyboardModifiers());
    if (const auto special = specialCharacter(key))
        return KeyCombo{textOf(*special), modifiers};
    if (key == Qt::Key_Space)
        return KeyCombo{QStringLiteral(" "), modifiers};
    if (key <= 0x20 || key > 0x10FFFF)
        return {};
    return KeyCombo{textOf(QChar::toLower(char32_t(key))), modifiers};
}

QKeySequence KeyCombo::toKeySequence() const
{
    const QList<uint> characters = key.toUcs4();
    if (characters.size() != 1)
        return {};
    const char32_t character = characters.front();
    int qtKey = 0;
    if (const auto special = specialKey(character))
        qtKey = *special;
    else if (character == U' ')
        qtKey = Qt::Key_Space;
    else if (character > 0x20)
        qtKey = int(QChar::toUpper(character));
    if (!qtKey)
        return {};
    return QKeySequence(QKeyCombination(qtModifiersOf(modifiers), Qt::Key(qtKey)));
}

QString KeyCombo::displayText() const
{
    if (key.isEmpty())
        return {};
    return toKeySequence().toString(QKeySequence::NativeText);
}

QString KeyCombo::modifierRefusal() const
{
    if (modifiers & kModifierMask)
        return {};
    const QList<uint> characters = key.toUcs4();
    if (characters.size() == 1 && characters.front() >= kF1 && characters.front() <= kF12)
        return {};
    return QStringLiteral("Ctrl・Alt・Meta などの修飾キーと一緒に押してください。");
}

QString KeyCombo::conflictMessage(const QString& title)
{
    return QStringLiteral("「") + title + QStringLiteral("」で使われています。");
}

size_t qHash(const KeyCombo& combo, size_t seed) noexcept
{
    return qHashMulti(seed, combo.key, combo.modifiers);
}
