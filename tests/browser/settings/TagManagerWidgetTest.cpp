#include "browser/settings/TagManagerWidget.h"

#include "browser/WindowTesting.h"
#include "browser/tags/TagTreeModel.h"
#include "operations/Alert.h"
#include "platform/ExtendedAttributes.h"
#include "tags/TagStore.h"

#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeView>

namespace fs = std::filesystem;

namespace {

// Answers every alert at once with the next scripted button.
class ScriptedPrompter : public Prompter {
public:
    QList<int> answers;
    QList<Alert> asked;

    void present(const Alert& alert, std::function<void(Alert::Response)> done) override
    {
        asked << alert;
        Alert::Response response;
        response.button = answers.isEmpty() ? -1 : answers.takeFirst();
        done(response);
    }
};

class TagManagerWidgetTest : public ::testing::Test {
protected:
    TempDir dir;
    TagStore store{dir / "tags.json"};
    TagManagerWidget widget{store};
    TagTreeModel& model = *widget.model();
    // Every case doubles as a check of the model's consistency through its changes.
    testing_pane::ModelTesterLog log;
    QAbstractItemModelTester tester{&model,
                                    QAbstractItemModelTester::FailureReportingMode::Warning};

    ~TagManagerWidgetTest() override
    {
        store.waitForSaved();
        EXPECT_TRUE(log.messages().isEmpty()) << log.messages().join('\n').toStdString();
    }

    QUuid make(const QString& name) { return store.createTag(name)->id; }
    QString nameOf(const QUuid& id) const
    {
        return store.tag(id) ? store.tag(id)->name : QString();
    }

    static QStringList names(const QList<Tag>& tags) { return textsOf(tags, &Tag::name); }
    QPushButton* button(const QString& text) const
    {
        return testing_pane::childWithText<QPushButton>(widget, text);
    }

    ScriptedPrompter& scripted()
    {
        auto script = std::make_unique<ScriptedPrompter>();
        ScriptedPrompter& prompter = *script;
        widget.setPrompter(std::move(script));
        return prompter;
    }

    bool drop(const QUuid& id, int row, const QModelIndex& parent)
    {
        std::unique_ptr<QMimeData> data(model.mimeData({model.indexOf(id)}));
        return model.dropMimeData(data.get(), Qt::MoveAction, row, 0, parent);
    }
};

TEST_F(TagManagerWidgetTest, RenamesTheLeafInPlaceAndRefusesBadNames)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");

    EXPECT_TRUE(model.setData(model.indexOf(work), QStringLiteral(" Job "), Qt::EditRole));
    EXPECT_EQ(nameOf(work), QStringLiteral("Job"));
    EXPECT_EQ(nameOf(client), QStringLiteral("Job/Client"));
    EXPECT_TRUE(model.setData(model.indexOf(client), QStringLiteral("Customer"), Qt::EditRole));
    EXPECT_EQ(nameOf(client), QStringLiteral("Job/Customer"));
    EXPECT_EQ(model.data(model.indexOf(client), Qt::DisplayRole), QStringLiteral("Customer"));
    EXPECT_EQ(model.indexOf(client).parent(), model.indexOf(work));

    const std::pair<QString, QString> refusals[] = {
        {"", QStringLiteral("タグの名前を入力してください。")},
        {" / ", QStringLiteral("タグの名前を入力してください。")},
        {"home", QStringLiteral("同じ名前のタグがすでにあります。")},
    };
    for (const auto& [text, message] : refusals) {
        SCOPED_TRACE(text.toStdString());
        widget.message()->clear();
        EXPECT_FALSE(model.setData(model.indexOf(work), text, Qt::EditRole));
        EXPECT_EQ(widget.message()->text(), message);
        EXPECT_EQ(nameOf(work), QStringLiteral("Job"));
        EXPECT_EQ(nameOf(home), QStringLiteral("Home"));
    }
    // A change of case only is the tag's own name, not a clash.
    EXPECT_TRUE(model.setData(model.indexOf(work), QStringLiteral("JOB"), Qt::EditRole));
    EXPECT_EQ(nameOf(work), QStringLiteral("JOB"));
}

TEST_F(TagManagerWidgetTest, FavouritesCanBeNeitherRenamedNorDeleted)
{
    const QUuid work = make("Work");
    widget.selectTag(TagStore::favoritesID);
    const QModelIndex favourites = model.indexOf(TagStore::favoritesID);
    EXPECT_FALSE(model.flags(favourites) & Qt::ItemIsEditable);
    EXPECT_FALSE(model.setData(favourites, QStringLiteral("Stars"), Qt::EditRole));
    EXPECT_FALSE(button(QStringLiteral("名前を変更…"))->isEnabled());
    EXPECT_FALSE(button(QStringLiteral("削除…"))->isEnabled());
    ScriptedPrompter& prompter = scripted();
    widget.deleteCurrent();
    EXPECT_TRUE(prompter.asked.isEmpty());
    EXPECT_TRUE(store.tag(TagStore::favoritesID));
    // Nor moved under another tag, which would rename it.
    EXPECT_FALSE(model.moveTag(TagStore::favoritesID, work));
    EXPECT_EQ(nameOf(TagStore::favoritesID), QStringLiteral("お気に入り"));

    widget.selectTag(work);
    EXPECT_TRUE(button(QStringLiteral("名前を変更…"))->isEnabled());
    EXPECT_TRUE(button(QStringLiteral("削除…"))->isEnabled());
}

TEST_F(TagManagerWidgetTest, DeleteAsksAndOnlyTheDeleteButtonDeletes)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const fs::path file = dir.file("a.txt");
    store.assign(client, {file});
    ScriptedPrompter& prompter = scripted();
    widget.selectTag(work);

    prompter.answers = {1};
    widget.deleteCurrent();
    ASSERT_EQ(prompter.asked.size(), 1);
    const Alert& alert = prompter.asked.first();
    EXPECT_EQ(alert.message, QStringLiteral("タグ「Work」を削除しますか？"));
    EXPECT_EQ(alert.informativeText,
              QStringLiteral("このタグと下位のタグは、すべての項目から外されます。"));
    EXPECT_EQ(alert.buttons, QStringList({QStringLiteral("削除"), QStringLiteral("キャンセル")}));
    EXPECT_EQ(alert.destructiveButton, 0);
    EXPECT_NE(alert.defaultButton, 0);
    EXPECT_TRUE(store.tag(work) && store.tag(client));

    prompter.answers = {0};
    QTest::keyClick(widget.view(), Qt::Key_Delete);
    EXPECT_EQ(prompter.asked.size(), 2);
    EXPECT_FALSE(store.tag(work));
    EXPECT_FALSE(store.tag(client));
    EXPECT_TRUE(store.explicitTags(file).isEmpty());
    EXPECT_FALSE(model.indexOf(work).isValid());
}

TEST_F(TagManagerWidgetTest, DropsMoveUnderTagsAndBetweenRowsAndRefuseCycles)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");

    EXPECT_FALSE(drop(work, -1, model.indexOf(client)));
    EXPECT_EQ(widget.message()->text(), QStringLiteral("タグをその場所へは移動できません。"));
    EXPECT_EQ(nameOf(work), QStringLiteral("Work"));
    EXPECT_EQ(nameOf(client), QStringLiteral("Work/Client"));

    EXPECT_TRUE(drop(home, -1, model.indexOf(work))); // onto a tag: under it
    EXPECT_EQ(nameOf(home), QStringLiteral("Work/Home"));
    EXPECT_EQ(model.indexOf(home).parent(), model.indexOf(work));

    EXPECT_TRUE(drop(home, 0, {})); // between rows at the root: first
    EXPECT_EQ(nameOf(home), QStringLiteral("Home"));
    EXPECT_EQ(store.rootTags().first().id, home);

    // Down among its siblings: the drop row counts the tag's old place.
    const QStringList before = names(store.rootTags());
    EXPECT_TRUE(drop(home, 2, {}));
    QStringList expected = before;
    expected.move(0, 1);
    EXPECT_EQ(names(store.rootTags()), expected);

    // A clash of names is refused too.
    make("Work/Home");
    EXPECT_FALSE(drop(home, -1, model.indexOf(work)));
    EXPECT_EQ(nameOf(home), QStringLiteral("Home"));
}

TEST_F(TagManagerWidgetTest, ControlArrowsMoveTheSelectedTag)
{
    make("A");
    const QUuid b = make("B");
    make("C");
    const QStringList start = names(store.rootTags());
    const int place = int(start.indexOf("B"));
    ASSERT_GT(place, 0);
    widget.selectTag(b);

    QTest::keyClick(widget.view(), Qt::Key_Up, Qt::ControlModifier);
    QStringList expected = start;
    expected.move(place, place - 1);
    EXPECT_EQ(names(store.rootTags()), expected);
    EXPECT_TRUE(store.tree().manualOrder());
    EXPECT_EQ(widget.currentID(), b);

    QTest::keyClick(widget.view(), Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(names(store.rootTags()), start);
    EXPECT_EQ(widget.currentID(), b);

    // Right: under the sibling above; Left: back out, after that parent.
    const QString above = start[place - 1];
    QTest::keyClick(widget.view(), Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(nameOf(b), above + "/B");
    EXPECT_EQ(widget.currentID(), b);
    QTest::keyClick(widget.view(), Qt::Key_Left, Qt::ControlModifier);
    EXPECT_EQ(nameOf(b), QStringLiteral("B"));
    EXPECT_EQ(names(store.rootTags()), start);
}

TEST_F(TagManagerWidgetTest, FollowsTheStoreKeepingSelectionAndCollapsedBranches)
{
    const QUuid work = make("Work");
    const QUuid client = make("Work/Client");
    const QUuid home = make("Home");
    make("Home/Garden");
    widget.view()->collapse(model.indexOf(home));
    widget.selectTag(client);

    make("Zeta"); // a new row: the model is rebuilt
    store.setColor(client, "#112233");
    EXPECT_EQ(widget.currentID(), client);
    EXPECT_TRUE(widget.view()->isExpanded(model.indexOf(work)));
    EXPECT_FALSE(widget.view()->isExpanded(model.indexOf(home)));
    EXPECT_TRUE(model.indexOf(store.tagNamed("Zeta")->id).isValid());

    EXPECT_TRUE(widget.createTag(QStringLiteral("Work/New")));
    EXPECT_EQ(nameOf(widget.currentID()), QStringLiteral("Work/New"));
    EXPECT_FALSE(widget.createTag(QStringLiteral("work/new")));
    EXPECT_EQ(widget.message()->text(), QStringLiteral("同じ名前のタグがすでにあります。"));
}

TEST_F(TagManagerWidgetTest, ImportsUnknownNamesFromExtendedAttributesWhenConfirmed)
{
    const char* attribute = TagAttributeMirror::attributeName;
    const fs::path a = dir.file("in/a.txt");
    const fs::path b = dir.file("in/sub/b.txt");
    if (const auto written = ExtendedAttributes::write(a, attribute, "Work,Fresh"); !written)
        GTEST_SKIP() << "the temporary folder has no user extended attributes";
    ASSERT_TRUE(ExtendedAttributes::write(b, attribute, "fresh,Old/New"));
    make("Work");
    ScriptedPrompter& prompter = scripted();
    QSignalSpy scanned(&widget, &TagManagerWidget::importScanned);
    const auto scan = [&] {
        const auto before = scanned.size();
        widget.importFrom(dir / "in");
        ASSERT_TRUE(QTest::qWaitFor([&] { return scanned.size() > before; }));
    };

    prompter.answers = {1};
    scan();
    ASSERT_EQ(prompter.asked.size(), 1);
    const Alert& alert = prompter.asked.first();
    EXPECT_EQ(alert.buttons,
              QStringList({QStringLiteral("読み込む"), QStringLiteral("キャンセル")}));
    EXPECT_TRUE(alert.message.contains(u'2'));
    EXPECT_EQ(alert.informativeText, QStringLiteral("Fresh（2 項目）\nOld/New（1 項目）"));
    EXPECT_FALSE(store.tagNamed("Fresh"));

    prompter.answers = {0};
    scan();
    ASSERT_EQ(prompter.asked.size(), 2);
    const auto fresh = store.tagNamed("Fresh");
    ASSERT_TRUE(fresh && store.tagNamed("Old/New"));
    EXPECT_EQ(store.urls(fresh->id, false), std::vector<fs::path>({a, b}));
    EXPECT_EQ(names(store.explicitTags(b)), QStringList({"Fresh", "Old/New"}));

    scan(); // nothing new is left
    EXPECT_EQ(prompter.asked.size(), 2);
    EXPECT_EQ(widget.message()->text(),
              QStringLiteral("拡張属性に、まだないタグは見つかりませんでした。"));
}

} // namespace
