#include "browser/operations/BulkRenameDialog.h"

#include "browser/operations/BulkRenamePreviewModel.h"
#include "core/PathText.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>
#include <gtest/gtest.h>
#include <set>

namespace fs = std::filesystem;

namespace {

template <typename T = QWidget>
T* field(QDialog& dialog, const QString& label)
{
    for (QLabel* candidate : dialog.findChildren<QLabel*>()) {
        if (candidate->text() == label)
            return qobject_cast<T*>(candidate->buddy());
    }
    return nullptr;
}

template <typename T>
T* withText(QDialog& dialog, const QString& text)
{
    for (T* candidate : dialog.findChildren<T*>()) {
        if (candidate->text() == text)
            return candidate;
    }
    return nullptr;
}

QString footer(QDialog& dialog)
{
    for (QLabel* label : dialog.findChildren<QLabel*>()) {
        if (label->text().endsWith(QStringLiteral("。")))
            return label->text();
    }
    return {};
}

QStringList column(const BulkRenamePreviewModel& model, int column)
{
    QStringList out;
    for (int row = 0; row < model.rowCount(); ++row)
        out.append(model.index(row, column).data().toString());
    return out;
}

void retype(QWidget* widget, const QString& text)
{
    if (auto* edit = qobject_cast<QLineEdit*>(widget))
        edit->selectAll();
    else if (auto* box = qobject_cast<QSpinBox*>(widget))
        box->selectAll();
    QTest::keyClicks(widget, text);
}

// Text as a keyboard without an input method sends it (keyClicks takes ASCII only).
void type(QWidget* widget, const QString& text)
{
    QKeyEvent press(QEvent::KeyPress, Qt::Key_unknown, Qt::NoModifier, text);
    QApplication::sendEvent(widget, &press);
}

std::vector<BulkRenameItem> threeItems()
{
    return {{"/f/a1.txt", false}, {"/f/b1.txt", false}, {fs::path("/f/c\xff.txt"), false}};
}

} // namespace

TEST(BulkRenameDialogTest, PreviewFooterAndApplyFollowTheRule)
{
    BulkRenameDialog dialog(threeItems(), {"x2.txt"});
    dialog.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&dialog));
    const BulkRenamePreviewModel& model = dialog.previewModel();
    auto* apply = withText<QPushButton>(dialog, QStringLiteral("名前を変更"));
    ASSERT_TRUE(apply);
    EXPECT_TRUE(withText<QLabel>(dialog, QStringLiteral("3 項目の名前を変更")));
    EXPECT_EQ(footer(dialog), QStringLiteral("0 項目の名前が変わります。"));
    EXPECT_FALSE(apply->isEnabled());

    auto* find = field(dialog, QStringLiteral("探す文字"));
    auto* replacement = field(dialog, QStringLiteral("置き換える文字"));
    EXPECT_EQ(dialog.focusWidget(), find);
    QTest::keyClicks(find, "1");
    QTest::keyClicks(replacement, "2");
    EXPECT_EQ(column(model, 0), QStringList({"a1.txt", "b1.txt", "c\uFFFD.txt"}));
    EXPECT_EQ(column(model, 1), QStringList({"a2.txt", "b2.txt", "c\uFFFD.txt"}));
    EXPECT_EQ(footer(dialog), QStringLiteral("2 項目の名前が変わります。"));
    EXPECT_TRUE(apply->isEnabled());

    retype(find, "B1");
    retype(replacement, "x2");
    EXPECT_EQ(column(model, 1)[1], QStringLiteral("x2.txt　同じ名前の項目がすでにあります。"));
    EXPECT_FALSE(model.index(1, 1).data(Qt::DecorationRole).value<QIcon>().isNull());
    EXPECT_EQ(footer(dialog), QStringLiteral("1 項目は変更できません。規則を直してください。"));
    EXPECT_FALSE(apply->isEnabled());
    withText<QCheckBox>(dialog, QStringLiteral("大文字と小文字を区別"))->click();
    EXPECT_EQ(footer(dialog), QStringLiteral("0 項目の名前が変わります。"));

    withText<QPushButton>(dialog, QStringLiteral("正規表現"))->click();
    auto* pattern = field(dialog, QStringLiteral("正規表現（例: (\\d+)-(.*)）"));
    EXPECT_EQ(dialog.focusWidget(), pattern);
    QTest::keyClicks(pattern, "(");
    EXPECT_EQ(model.problemCount(), 3);
    EXPECT_EQ(column(model, 1)[0], QStringLiteral("a1.txt　正規表現が正しくありません。"));
    EXPECT_EQ(footer(dialog), QStringLiteral("3 項目は変更できません。規則を直してください。"));
    EXPECT_FALSE(apply->isEnabled());

    retype(pattern, "^(\\w)");
    QTest::keyClicks(field(dialog, QStringLiteral("置き換え後（$1 などで一致した部分を使えます）")),
                     "x$1");
    EXPECT_EQ(column(model, 1), QStringList({"xa1.txt", "xb1.txt", "xc\uFFFD.txt"}));
    BulkRenameDialog::Pairs applied;
    QObject::connect(&dialog, &BulkRenameDialog::applyRequested,
                     [&](const BulkRenameDialog::Pairs& pairs) { applied = pairs; });
    QTest::keyClick(pattern, Qt::Key_Return);
    EXPECT_EQ(dialog.result(), QDialog::Accepted);
    ASSERT_EQ(applied.size(), 3u);
    EXPECT_EQ(applied[0], std::make_pair(fs::path("/f/a1.txt"), QStringLiteral("xa1.txt")));
    EXPECT_EQ(applied[1].second, QStringLiteral("xb1.txt"));
    EXPECT_EQ(applied[2].first, fs::path("/f/c\xff.txt"));
    EXPECT_EQ(PathText::fromStorableText(applied[2].second).native(), "xc\xff.txt");
}

TEST(BulkRenameDialogTest, EveryFieldIsReachableByKeyboard)
{
    BulkRenameDialog dialog(threeItems(), {});
    dialog.show();
    QApplication::setActiveWindow(&dialog);
    ASSERT_TRUE(QTest::qWaitForWindowActive(&dialog));
    const BulkRenamePreviewModel& model = dialog.previewModel();
    QTest::keyClicks(field(dialog, QStringLiteral("探す文字")), "1");

    // Tab stops at the chosen mode only; the arrow keys move among the modes.
    std::set<QWidget*> reached;
    for (int i = 0; i < 20; ++i) {
        reached.insert(QApplication::focusWidget());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    for (const QString& label : {QStringLiteral("探す文字"), QStringLiteral("置き換える文字")})
        EXPECT_TRUE(reached.contains(field(dialog, label))) << label.toStdString();
    for (const QString& text :
         {QStringLiteral("置換"), QStringLiteral("キャンセル"), QStringLiteral("名前を変更")})
        EXPECT_TRUE(reached.contains(withText<QPushButton>(dialog, text))) << text.toStdString();
    for (const QString& text : {QStringLiteral("正規表現"), QStringLiteral("大文字/小文字")})
        EXPECT_FALSE(reached.contains(withText<QPushButton>(dialog, text))) << text.toStdString();
    // Whatever the platform's own Tab rules for button groups (X11 stops at every one).
    for (const QString& text : {QStringLiteral("正規表現"), QStringLiteral("大文字/小文字")})
        EXPECT_FALSE(withText<QPushButton>(dialog, text)->focusPolicy() & Qt::TabFocus);
    for (const QString& text :
         {QStringLiteral("大文字と小文字を区別"), QStringLiteral("拡張子も対象にする")})
        EXPECT_TRUE(reached.contains(withText<QCheckBox>(dialog, text))) << text.toStdString();
    EXPECT_TRUE(reached.contains(dialog.findChild<QAbstractItemView*>()));

    // The arrow keys walk the modes; each mode's fields follow.
    auto* replaceMode = withText<QPushButton>(dialog, QStringLiteral("置換"));
    replaceMode->setFocus();
    QTest::keyClick(replaceMode, Qt::Key_Right);
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    EXPECT_EQ(dialog.options().mode, BulkRenameOptions::Mode::sequence);
    EXPECT_TRUE(withText<QCheckBox>(dialog, QStringLiteral("大文字と小文字を区別"))->isHidden());
    type(field(dialog, QStringLiteral("名前（この後ろに番号を付けます）")), QStringLiteral("写真"));
    retype(field(dialog, QStringLiteral("開始番号: ")), "9");
    retype(field(dialog, QStringLiteral("増やす数: ")), "2");
    retype(field(dialog, QStringLiteral("桁数: ")), "2");
    EXPECT_EQ(column(model, 1), QStringList({"写真09.txt", "写真11.txt", "写真13.txt"}));

    withText<QPushButton>(dialog, QStringLiteral("連番"))->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Right);
    auto* styles = field<QComboBox>(dialog, QStringLiteral("変換"));
    ASSERT_TRUE(styles);
    EXPECT_EQ(styles->itemText(2), QStringLiteral("単語の先頭を大文字"));
    styles->setFocus();
    QTest::keyClick(styles, Qt::Key_Down);
    withText<QCheckBox>(dialog, QStringLiteral("拡張子も対象にする"))->click();
    EXPECT_EQ(column(model, 1), QStringList({"A1.TXT", "B1.TXT", "C\uFFFD.TXT"}));

    bool applied = false;
    QObject::connect(&dialog, &BulkRenameDialog::applyRequested, [&] { applied = true; });
    QTest::keyClick(styles, Qt::Key_Escape);
    EXPECT_EQ(dialog.result(), QDialog::Rejected);
    EXPECT_FALSE(applied);
}

TEST(BulkRenameDialogTest, TenThousandItems)
{
    std::vector<BulkRenameItem> items;
    for (int i = 0; i < 10'000; ++i)
        items.push_back({fs::path("/f") / ("n" + std::to_string(i) + ".txt"), false});
    BulkRenameDialog dialog(std::move(items), {});
    QTest::keyClicks(field(dialog, QStringLiteral("探す文字")), "5");
    QTest::keyClicks(field(dialog, QStringLiteral("置き換える文字")), "five");
    EXPECT_EQ(dialog.previewModel().rowCount(), 10'000);
    // Numbers below 10,000 that have a 5 among their four digits: 10^4 - 9^4.
    EXPECT_EQ(footer(dialog), QStringLiteral("3439 項目の名前が変わります。"));
    EXPECT_EQ(dialog.previewModel().index(5, 1).data().toString(), QStringLiteral("nfive.txt"));
}
