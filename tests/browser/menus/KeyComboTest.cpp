#include "browser/menus/KeyCombo.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QKeyEvent>
#include <gtest/gtest.h>

namespace {

constexpr unsigned kShift = KeyCombo::kShift;
constexpr unsigned kControl = KeyCombo::kControl;
constexpr unsigned kOption = KeyCombo::kOption;
constexpr unsigned kCommand = KeyCombo::kCommand;

QString character(char32_t c)
{
    return QString::fromUcs4(&c, 1);
}

TEST(KeyComboTest, RecordsKeyPressesAsMenuKeys)
{
    struct Case {
        int key;
        Qt::KeyboardModifiers modifiers;
        QString text;
        std::optional<KeyCombo> expected;
    };
    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
    const Qt::KeyboardModifiers ctrlShift = Qt::ControlModifier | Qt::ShiftModifier;
    const Case cases[] = {
        {Qt::Key_A, ctrl, QStringLiteral("\x01"), KeyCombo{"a", kCommand}},
        {Qt::Key_A, ctrlShift, "A", KeyCombo{"a", kShift | kCommand}},
        {Qt::Key_A, Qt::ShiftModifier, "A", KeyCombo{"a", kShift}},
        {Qt::Key_1, Qt::MetaModifier | ctrl, "1", KeyCombo{"1", kControl | kCommand}},
        {Qt::Key_K, Qt::AltModifier | Qt::KeypadModifier, "k", KeyCombo{"k", kOption}},
        // A symbol carries its Shift already: Linux matches "Ctrl+>" for Ctrl+Shift+.
        {Qt::Key_Greater, ctrlShift, ">", KeyCombo{">", kCommand}},
        {0x0424, ctrlShift, QStringLiteral("Ф"), KeyCombo{QStringLiteral("ф"), kShift | kCommand}},
        {Qt::Key_Space, ctrlShift, " ", KeyCombo{" ", kShift | kCommand}},
        {Qt::Key_F5, {}, {}, KeyCombo{character(0xF708), 0}},
        {Qt::Key_F35, {}, {}, KeyCombo{character(0xF726), 0}},
        {Qt::Key_Up, ctrl, {}, KeyCombo{character(0xF700), kCommand}},
        {Qt::Key_Left, Qt::AltModifier | ctrl, {}, KeyCombo{character(0xF702), kOption | kCommand}},
        {Qt::Key_Backspace, ctrl, {}, KeyCombo{character(0x08), kCommand}},
        {Qt::Key_Delete, Qt::ShiftModifier, {}, KeyCombo{character(0xF728), kShift}},
        {Qt::Key_Home, ctrl, {}, KeyCombo{character(0xF729), kCommand}},
        {Qt::Key_Backtab, Qt::ShiftModifier, {}, KeyCombo{"\t", kShift}},
        {Qt::Key_Shift, Qt::ShiftModifier, {}, std::nullopt},
        {Qt::Key_Control, ctrl, {}, std::nullopt},
        {Qt::Key_Dead_Acute, {}, {}, std::nullopt},
    };
    for (const Case& c : cases) {
        const QKeyEvent event(QEvent::KeyPress, c.key, c.modifiers, c.text);
        EXPECT_EQ(KeyCombo::fromEvent(event), c.expected) << std::hex << c.key;
    }
}

TEST(KeyComboTest, KeysOnTheirOwnAreRefusedExceptF1ToF12)
{
    const QString refusal =
        QStringLiteral("Ctrl・Alt・Meta などの修飾キーと一緒に押してください。");
    const std::pair<KeyCombo, bool> cases[] = {
        {{"a", 0}, false},
        {{"a", kShift}, true},
        {{"a", kControl}, true},
        {{character(0xF704), 0}, true}, // F1
        {{character(0xF70F), 0}, true}, // F12
        {{character(0xF710), 0}, false},
        {{character(0xF728), 0}, false},
        {{character(0x08), 0}, false},
    };
    for (const auto& [combo, accepted] : cases)
        EXPECT_EQ(combo.modifierRefusal(), accepted ? QString() : refusal)
            << combo.key.toStdString();
}

TEST(KeyComboTest, ConvertsToAndFromQtShortcuts)
{
    const std::pair<const char*, KeyCombo> cases[] = {
        {"Ctrl+Shift+.", {".", kShift | kCommand}},
        {"Meta+Ctrl+1", {"1", kControl | kCommand}},
        {"Ctrl+Alt+Shift+\\", {"\\", kShift | kOption | kCommand}},
        {"Ctrl++", {"+", kCommand}},
        {"Ctrl+,", {",", kCommand}},
        {"Ctrl+Backspace", {character(0x08), kCommand}},
        {"Shift+Del", {character(0xF728), kShift}},
        {"Ctrl+Up", {character(0xF700), kCommand}},
        {"Alt+Left", {character(0xF702), kOption}},
        {"F6", {character(0xF709), 0}},
        {"Ctrl+Return", {"\r", kCommand}},
        {"", {}},
    };
    for (const auto& [text, combo] : cases) {
        const QKeySequence sequence(QString::fromLatin1(text), QKeySequence::PortableText);
        EXPECT_EQ(KeyCombo::fromKeySequence(sequence), combo) << text;
        EXPECT_EQ(combo.toKeySequence(), sequence) << text;
    }
}

TEST(KeyComboTest, DisplaysThePlatformText)
{
    EXPECT_EQ((KeyCombo{"k", kShift | kCommand}.displayText()), "Ctrl+Shift+K");
    EXPECT_EQ((KeyCombo{character(0xF708), 0}.displayText()), "F5");
    EXPECT_EQ((KeyCombo{"", kCommand}.displayText()), "");
}

TEST(KeyComboTest, ReadsOnlyWellFormedJson)
{
    const KeyCombo combo{character(0xF702), kOption | kCommand};
    EXPECT_EQ(KeyCombo::fromJson(combo.toJson()), combo);
    EXPECT_EQ(KeyCombo::fromJson(combo.toJson()).value().toJson().keys(),
              (QStringList{"key", "modifiers"}));

    const std::pair<const char*, std::optional<KeyCombo>> cases[] = {
        {R"({"key": "k", "modifiers": 1048576})", KeyCombo{"k", kCommand}},
        {R"({"key": "", "modifiers": 0})", KeyCombo{}},
        {R"({"key": "k", "modifiers": 3})", KeyCombo{"k", 0}}, // unknown bits dropped
        {R"({"key": "k"})", std::nullopt},
        {R"({"modifiers": 0})", std::nullopt},
        {R"({"key": 7, "modifiers": 0})", std::nullopt},
        {R"({"key": "k", "modifiers": -1})", std::nullopt},
        {R"({"key": "k", "modifiers": 1.5})", std::nullopt},
        {R"({"key": "k", "modifiers": "1048576"})", std::nullopt},
        {R"(["k", 0])", std::nullopt},
    };
    for (const auto& [json, expected] : cases) {
        const QJsonDocument document = QJsonDocument::fromJson(json);
        const QJsonValue value =
            document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
        EXPECT_EQ(KeyCombo::fromJson(value), expected) << json;
    }
}

} // namespace
