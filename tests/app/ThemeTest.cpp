#include "app/Theme.h"

#include "browser/menus/ShortcutStore.h"
#include "browser/pane/FileTreeView.h"
#include "core/AppDefaults.h"
#include "support/TempDir.h"
#include "tags/SidebarPersistence.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QSignalSpy>
#include <QStandardItemModel>
#include <QTest>
#include <gtest/gtest.h>

namespace {

constexpr int kTimeoutMs = 10000;

bool isDarkPalette()
{
    return QApplication::palette().color(QPalette::Window).lightness() < 80;
}

bool waitForSystemSettings()
{
    return QTest::qWaitFor([] { return !Theme::shared().isReadingSystemSettings(); }, kTimeoutMs);
}

class ThemeTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(waitForSystemSettings()); }
    ScratchSettings settings;
};

TEST_F(ThemeTest, ChoosingDarkWritesItAndDarkensTheApplicationAtOnce)
{
    Theme& theme = Theme::shared();
    theme.setAppearance(Theme::Appearance::light);
    ASSERT_FALSE(isDarkPalette());
    QSignalSpy changed(&theme, &Theme::themeChanged);

    theme.setAppearance(Theme::Appearance::dark);
    theme.setAppearance(Theme::Appearance::dark); // no change, no second signal
    EXPECT_EQ(changed.count(), 1);
    EXPECT_TRUE(isDarkPalette());
    EXPECT_TRUE(theme.isDark());
    EXPECT_EQ(QApplication::palette().color(QPalette::Highlight), theme.accentColor());
    AppDefaults::flush();
    EXPECT_NE(readFile(settings.file("Quillo")).find("themeAppearance=dark"), std::string::npos);

    theme.setAppearance(Theme::Appearance::light);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_FALSE(isDarkPalette());
    EXPECT_GT(QApplication::palette().color(QPalette::Window).lightness(), 180);
}

TEST_F(ThemeTest, ClearingTheAccentReturnsToTheSystemAccent)
{
    Theme& theme = Theme::shared();
    const Theme::Preset purple = Theme::presets().at(1);
    theme.setAccentHex(purple.hex);
    EXPECT_EQ(theme.accentColor(), QColor(purple.hex));
    EXPECT_EQ(QApplication::palette().color(QPalette::Active, QPalette::Highlight),
              QColor(purple.hex));
    EXPECT_EQ(QApplication::palette().color(QPalette::Inactive, QPalette::Highlight),
              QColor(purple.hex));

    QSignalSpy changed(&theme, &Theme::themeChanged);
    theme.setAccentHex(std::nullopt);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_FALSE(theme.accentHex());
    EXPECT_FALSE(AppDefaults::store().contains("themeAccentColor"));
    EXPECT_EQ(theme.accentColor(), theme.systemAccentColor());
    EXPECT_EQ(QApplication::palette().color(QPalette::Highlight), theme.systemAccentColor());

    // Text that is not a colour counts as no choice.
    AppDefaults::store().setValue("themeAccentColor", "blue-ish");
    EXPECT_EQ(theme.accentColor(), theme.systemAccentColor());
}

TEST_F(ThemeTest, ReadsAppearanceAndAccentTextLeniently)
{
    const std::pair<QVariant, Theme::Appearance> appearances[] = {
        {QStringLiteral("dark"), Theme::Appearance::dark},
        {QStringLiteral("light"), Theme::Appearance::light},
        {QStringLiteral("system"), Theme::Appearance::system},
        {QStringLiteral("Dark"), Theme::Appearance::system},
        {QStringLiteral("sepia"), Theme::Appearance::system},
        {QVariant(), Theme::Appearance::system},
        {QVariant(2), Theme::Appearance::system},
    };
    for (const auto& [raw, expected] : appearances) {
        SCOPED_TRACE(raw.toString().toStdString());
        AppDefaults::store().setValue("themeAppearance", raw);
        EXPECT_EQ(Theme::shared().appearance(), expected);
    }

    const std::pair<const char*, const char*> hexes[] = {
        {"#2a7bde", "#2a7bde"}, {"2A7BDE", "#2a7bde"}, {" #2A7BDE ", "#2a7bde"},
        {"#2A7BD", nullptr},    {"#GGGGGG", nullptr},  {"#2A7BDE00", nullptr},
        {"", nullptr},          {"##2A7BDE", nullptr},
    };
    for (const auto& [text, expected] : hexes) {
        const auto color = expected ? std::optional(QColor(expected)) : std::nullopt;
        EXPECT_EQ(Theme::parseHex(QString::fromUtf8(text)), color) << text;
    }
}

TEST_F(ThemeTest, MapsThePortalColorScheme)
{
    using S = Theme::SystemScheme;
    const auto wrapped = [](const QVariant& v) { return QVariant::fromValue(QDBusVariant(v)); };
    const std::pair<QVariant, S> cases[] = {
        {QVariant(1u), S::dark},
        {QVariant(2u), S::light},
        {QVariant(0u), S::noPreference},
        {QVariant(7u), S::noPreference},
        {QVariant(1), S::dark},
        {wrapped(QVariant(1u)), S::dark},
        {wrapped(wrapped(QVariant(2u))), S::light},
        {QVariant(QStringLiteral("1")), S::noPreference},
        {QVariant(1.0), S::noPreference},
        {QVariant(), S::noPreference},
    };
    for (const auto& [value, expected] : cases) {
        SCOPED_TRACE(value.toString().toStdString());
        EXPECT_EQ(Theme::schemeFromPortal(value), expected);
    }
    EXPECT_FALSE(Theme::accentFromPortal(QVariant(QStringLiteral("#ff0000"))));
    EXPECT_FALSE(Theme::accentFromPortal(QVariant()));
}

TEST_F(ThemeTest, SystemWithoutAPortalIsLight)
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (bus.isConnected() &&
        bus.interface()->isServiceRegistered(QStringLiteral("org.freedesktop.portal.Desktop")))
        GTEST_SKIP() << "a desktop portal is running on this bus";
    Theme& theme = Theme::shared();
    theme.setAppearance(Theme::Appearance::dark);
    theme.setAppearance(Theme::Appearance::system);
    EXPECT_EQ(theme.appearance(), Theme::Appearance::system);
    EXPECT_FALSE(theme.isDark());
    EXPECT_FALSE(isDarkPalette());
}

// A second connection to the session bus that owns the portal's name and sends
// what the desktop portal sends when the user changes a setting.
class FakePortal {
public:
    FakePortal()
        : m_bus(QDBusConnection::connectToBus(QDBusConnection::SessionBus, "fake-portal"))
    {
    }
    ~FakePortal()
    {
        m_bus.unregisterService(kName);
        QDBusConnection::disconnectFromBus("fake-portal");
    }
    bool start() { return m_bus.isConnected() && m_bus.registerService(kName); }
    void send(const QString& key, const QVariant& value)
    {
        QDBusMessage signal = QDBusMessage::createSignal(
            QStringLiteral("/org/freedesktop/portal/desktop"),
            QStringLiteral("org.freedesktop.portal.Settings"), QStringLiteral("SettingChanged"));
        signal << QStringLiteral("org.freedesktop.appearance") << key
               << QVariant::fromValue(QDBusVariant(value));
        m_bus.send(signal);
    }

private:
    static inline const QString kName = QStringLiteral("org.freedesktop.portal.Desktop");
    QDBusConnection m_bus;
};

TEST_F(ThemeTest, SystemFollowsTheDesktopWhenItChanges)
{
    FakePortal portal;
    if (!portal.start())
        GTEST_SKIP() << "needs a private session bus without a portal (dbus-run-session)";
    Theme& theme = Theme::shared();
    theme.setAppearance(Theme::Appearance::light);
    theme.setAppearance(Theme::Appearance::system);
    ASSERT_FALSE(isDarkPalette());

    // Until the bus has told the theme who owns the portal's name, signals are dropped.
    const auto sendUntil = [&](const QString& key, const QVariant& value, auto done) {
        return QTest::qWaitFor(
            [&] {
                portal.send(key, value);
                return done();
            },
            kTimeoutMs);
    };
    EXPECT_TRUE(sendUntil("color-scheme", QVariant(1u), [] { return isDarkPalette(); }));

    QDBusArgument red;
    red.beginStructure();
    red << 1.0 << 0.0 << 0.0;
    red.endStructure();
    EXPECT_TRUE(sendUntil("accent-color", QVariant::fromValue(red),
                          [&] { return theme.systemAccentColor() == QColor(Qt::red); }));
    EXPECT_EQ(QApplication::palette().color(QPalette::Highlight), QColor(Qt::red));

    EXPECT_TRUE(sendUntil("color-scheme", QVariant(2u), [] { return !isDarkPalette(); }));

    // A chosen appearance ignores the desktop but remembers what it said. Signals
    // arrive in order: once the accent has changed, the scheme has been seen too.
    theme.setAppearance(Theme::Appearance::light);
    portal.send("color-scheme", QVariant(1u));
    EXPECT_TRUE(sendUntil("accent-color", QVariant(QStringLiteral("unset")),
                          [&] { return theme.systemAccentColor() != QColor(Qt::red); }));
    EXPECT_FALSE(isDarkPalette());
    theme.setAppearance(Theme::Appearance::system);
    EXPECT_TRUE(isDarkPalette());

    EXPECT_TRUE(sendUntil("color-scheme", QVariant(0u), [] { return !isDarkPalette(); }));
}

class NoKeys : public ListKeyTarget {
public:
    bool isFilterOpen() const override { return false; }
    void beginFilter() override {}
    void endFilter(bool) override {}
    void openSelection() override {}
    void goToParent() override {}
    void switchPane() override {}
};

bool near(const QColor& a, const QColor& b)
{
    return std::abs(a.red() - b.red()) <= 3 && std::abs(a.green() - b.green()) <= 3 &&
           std::abs(a.blue() - b.blue()) <= 3;
}

QColor over(const QColor& fill, double alpha, const QColor& background)
{
    const auto mix = [&](int f, int b) { return int(std::lround(f * alpha + b * (1 - alpha))); };
    return QColor(mix(fill.red(), background.red()), mix(fill.green(), background.green()),
                  mix(fill.blue(), background.blue()));
}

int pixelsNear(const QImage& image, const QRect& area, const QColor& color)
{
    int count = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x)
            count += near(image.pixelColor(x, y), color) ? 1 : 0;
    }
    return count;
}

// A list beside a text field, in a shown and active window: the field takes the
// focus away from the list without deactivating the window.
struct ListWindow {
    NoKeys keys;
    QWidget window;
    QLineEdit* field = new QLineEdit(&window);
    FileTreeView* view = new FileTreeView(keys, &window);
    QStandardItemModel model{4, 2};

    ListWindow()
    {
        auto* layout = new QHBoxLayout(&window);
        layout->addWidget(field);
        layout->addWidget(view);
        QFont big = view->font();
        big.setPixelSize(22);
        view->setFont(big);
        for (int row = 0; row < model.rowCount(); ++row)
            model.setItem(row, 0, new QStandardItem(QStringLiteral("███")));
        view->setModel(&model);
        view->setColumnWidth(0, 120);
        window.resize(500, 260);
    }
    QImage render() { return view->viewport()->grab().toImage(); }
};

TEST_F(ThemeTest, SelectedRowIsOneRoundedAccentFillThatTurnsPaleWithoutFocus)
{
    const Theme::Preset red = Theme::presets().at(3);
    const QColor accent(red.hex);
    Theme::shared().setAccentHex(red.hex);
    for (const auto appearance : {Theme::Appearance::light, Theme::Appearance::dark}) {
        SCOPED_TRACE(Theme::rawValue(appearance).toStdString());
        Theme::shared().setAppearance(appearance);
        ListWindow list;
        list.window.show();
        list.window.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&list.window));
        list.view->selectRow(1); // an odd row: drawn over the alternate colour
        list.view->setFocus();
        ASSERT_TRUE(list.view->isEmphasized());
        const QImage strong = list.render();
        list.field->setFocus();
        ASSERT_FALSE(list.view->isEmphasized());
        const QImage pale = list.render();

        const QPalette& colors = list.view->palette();
        const QColor background = colors.color(QPalette::Active, QPalette::AlternateBase);
        const QRect emptyCell = list.view->visualRect(list.model.index(1, 1));
        const QPoint centre = emptyCell.center();
        EXPECT_TRUE(near(strong.pixelColor(centre), accent));
        EXPECT_TRUE(near(pale.pixelColor(centre), over(accent, 0.22, background)));
        // Inset 4 px at the sides and 1 px at top and bottom; no cell fills its own part.
        const int right = list.view->viewport()->width() - 2;
        for (const QPoint outside : {QPoint(1, centre.y()), QPoint(right, centre.y()),
                                     QPoint(centre.x(), emptyCell.top())}) {
            EXPECT_TRUE(near(strong.pixelColor(outside), background)) << outside.x();
            EXPECT_TRUE(near(pale.pixelColor(outside), background)) << outside.x();
        }
        const QRect unselected = list.view->visualRect(list.model.index(2, 1));
        EXPECT_TRUE(near(strong.pixelColor(unselected.center()),
                         colors.color(QPalette::Active, QPalette::Base)));

        // Text reads on the fill: the contrasting colour on the strong one only.
        const QRect nameCell = list.view->visualRect(list.model.index(1, 0));
        const QColor onAccent = colors.color(QPalette::Active, QPalette::HighlightedText);
        const QColor text = colors.color(QPalette::Active, QPalette::Text);
        EXPECT_GT(pixelsNear(strong, nameCell, onAccent), 20);
        EXPECT_GT(pixelsNear(pale, nameCell, text), 20);
        if (!near(onAccent, text)) {
            EXPECT_EQ(pixelsNear(pale, nameCell, onAccent), 0);
        }
    }
    Theme::shared().setAccentHex(std::nullopt);
}

} // namespace

// The theme, the shortcuts and the sidebar save on the settings' writer thread: the
// window never waits for the disk.
TEST_F(ThemeTest, SavesLeaveTheMainThread)
{
    const SettingsWrites writes;
    Theme::shared().setAppearance(Theme::Appearance::dark);
    ShortcutStore::shared().setOverrides(
        {{"newTab:", KeyCombo::fromKeySequence(QKeySequence("Ctrl+Shift+Y"))}});
    SidebarPersistence(AppDefaults::store()).setDefaultSectionCreated();
    AppDefaults::flush();
    EXPECT_GT(writes.total(), 0);
    EXPECT_EQ(writes.onMainThread(), 0);
    const std::string text = readFile(settings.file("Quillo"));
    for (const char* key :
         {"themeAppearance=dark", "shortcutOverrides=", "sidebarDefaultSectionCreated=true"})
        EXPECT_NE(text.find(key), std::string::npos) << key << "\n" << text;
    Theme::shared().setAppearance(Theme::Appearance::light);
    ShortcutStore::shared().setOverrides({});
}
