#include "app/Theme.h"

#include "core/AppDefaults.h"
#include "core/MainThread.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPalette>
#include <QRegularExpression>
#include <QStyle>
#include <QStyleFactory>
#include <cmath>
#include <memory>

namespace {

const QString kAppearanceKey = QStringLiteral("themeAppearance");
const QString kAccentKey = QStringLiteral("themeAccentColor");

const QString kPortalService = QStringLiteral("org.freedesktop.portal.Desktop");
const QString kPortalPath = QStringLiteral("/org/freedesktop/portal/desktop");
const QString kPortalSettings = QStringLiteral("org.freedesktop.portal.Settings");
const QString kAppearanceGroup = QStringLiteral("org.freedesktop.appearance");
const QString kColorScheme = QStringLiteral("color-scheme");
const QString kAccentColor = QStringLiteral("accent-color");

const QString kFusion = QStringLiteral("Fusion");

// Portal replies may wrap the value in one or two variants, depending on its version.
QVariant unwrapped(QVariant value)
{
    while (value.userType() == qMetaTypeId<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value;
}

double relativeLuminance(const QColor& color)
{
    const auto linear = [](double c) {
        return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF()) +
           0.0722 * linear(color.blueF());
}

// White reads well on all but the lightest accents (yellow); those get black.
QColor textOn(const QColor& fill)
{
    return relativeLuminance(fill) > 0.4 ? QColor(Qt::black) : QColor(Qt::white);
}

QColor mixed(const QColor& a, const QColor& b, double share)
{
    return QColor::fromRgbF(float(a.redF() * (1 - share) + b.redF() * share),
                            float(a.greenF() * (1 - share) + b.greenF() * share),
                            float(a.blueF() * (1 - share) + b.blueF() * share));
}

void setAccent(QPalette& palette, const QColor& accent, bool dark)
{
    for (const auto group : {QPalette::Active, QPalette::Inactive}) {
        palette.setColor(group, QPalette::Highlight, accent);
        palette.setColor(group, QPalette::HighlightedText, textOn(accent));
        palette.setColor(group, QPalette::Link, dark ? accent.lighter(135) : accent);
        palette.setColor(group, QPalette::LinkVisited,
                         dark ? accent.lighter(115) : accent.darker(125));
    }
    const QColor base = palette.color(QPalette::Disabled, QPalette::Base);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, mixed(base, accent, 0.35));
}

QPalette fusionStandardPalette()
{
    const std::unique_ptr<QStyle> fusion(QStyleFactory::create(kFusion));
    return fusion ? fusion->standardPalette() : QPalette(QColor(0xef, 0xef, 0xef));
}

} // namespace

Theme& Theme::shared()
{
    QUILLO_ASSERT_MAIN_THREAD();
    static Theme* instance = new Theme;
    return *instance;
}

Theme::Theme()
    // Before we set a palette of our own, the application palette is the desktop's.
    : m_platformAccent(QApplication::palette().color(QPalette::Active, QPalette::Highlight))
{
    watchPortal();
}

const QList<Theme::Preset>& Theme::presets()
{
    static const QList<Preset> list = {
        {QStringLiteral("青"), QStringLiteral("#2A7BDE")},
        {QStringLiteral("紫"), QStringLiteral("#9B51C9")},
        {QStringLiteral("ピンク"), QStringLiteral("#E5508F")},
        {QStringLiteral("赤"), QStringLiteral("#D9383A")},
        {QStringLiteral("オレンジ"), QStringLiteral("#EE7A1E")},
        {QStringLiteral("黄"), QStringLiteral("#F2B705")},
        {QStringLiteral("緑"), QStringLiteral("#3FA34D")},
        {QStringLiteral("グラファイト"), QStringLiteral("#7D7D84")},
    };
    return list;
}

QString Theme::rawValue(Appearance appearance)
{
    switch (appearance) {
    case Appearance::light:
        return QStringLiteral("light");
    case Appearance::dark:
        return QStringLiteral("dark");
    case Appearance::system:
        break;
    }
    return QStringLiteral("system");
}

Theme::Appearance Theme::appearanceFromRaw(const QVariant& raw)
{
    if (raw.typeId() != QMetaType::QString)
        return Appearance::system;
    for (const Appearance a : {Appearance::light, Appearance::dark}) {
        if (raw.toString() == rawValue(a))
            return a;
    }
    return Appearance::system;
}

Theme::Appearance Theme::appearance() const
{
    return appearanceFromRaw(AppDefaults::store().value(kAppearanceKey));
}

void Theme::setAppearance(Appearance appearance)
{
    if (AppDefaults::store().value(kAppearanceKey) == rawValue(appearance))
        return;
    AppDefaults::store().setValue(kAppearanceKey, rawValue(appearance));
    AppDefaults::save(AppDefaults::store());
    apply();
}

std::optional<QString> Theme::accentHex() const
{
    const QVariant value = AppDefaults::store().value(kAccentKey);
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

void Theme::setAccentHex(const std::optional<QString>& hex)
{
    if (accentHex() == hex)
        return;
    if (hex)
        AppDefaults::store().setValue(kAccentKey, *hex);
    else
        AppDefaults::store().remove(kAccentKey);
    AppDefaults::save(AppDefaults::store());
    apply();
}

std::optional<QColor> Theme::parseHex(const QString& text)
{
    static const QRegularExpression form(QStringLiteral("^#?([0-9A-Fa-f]{6})$"));
    const QRegularExpressionMatch match = form.match(text.trimmed());
    if (!match.hasMatch())
        return std::nullopt;
    return QColor::fromRgb(match.captured(1).toUInt(nullptr, 16));
}

QColor Theme::systemAccentColor() const
{
    return m_portalAccent.value_or(m_platformAccent);
}

QColor Theme::accentColor() const
{
    const std::optional<QString> hex = accentHex();
    const std::optional<QColor> chosen = hex ? parseHex(*hex) : std::nullopt;
    return chosen.value_or(systemAccentColor());
}

bool Theme::isDark() const
{
    switch (appearance()) {
    case Appearance::dark:
        return true;
    case Appearance::light:
        return false;
    case Appearance::system:
        break;
    }
    // No preference from the desktop means light.
    return m_systemScheme == SystemScheme::dark;
}

void Theme::apply()
{
    QUILLO_ASSERT_MAIN_THREAD();
    // One style in both appearances, so the dark palette is drawn as intended.
    if (QApplication::style()->name().compare(kFusion, Qt::CaseInsensitive) != 0)
        QApplication::setStyle(kFusion);
    const QColor accent = accentColor();
    QApplication::setPalette(isDark() ? darkPalette(accent) : lightPalette(accent));
    m_applied = true;
    Q_EMIT themeChanged();
}

QPalette Theme::lightPalette(const QColor& accent)
{
    static const QPalette standard = fusionStandardPalette();
    QPalette palette = standard;
    setAccent(palette, accent, false);
    return palette;
}

QPalette Theme::darkPalette(const QColor& accent)
{
    const QColor window(0x2d, 0x2d, 0x30);
    const QColor base(0x1f, 0x1f, 0x21);
    const QColor text(0xe8, 0xe8, 0xea);
    const QColor dimText(0x80, 0x80, 0x84);
    QPalette palette(window);
    for (const auto group : {QPalette::Active, QPalette::Inactive, QPalette::Disabled}) {
        const bool off = group == QPalette::Disabled;
        palette.setColor(group, QPalette::Window, window);
        palette.setColor(group, QPalette::WindowText, off ? dimText : text);
        palette.setColor(group, QPalette::Base, off ? window : base);
        palette.setColor(group, QPalette::AlternateBase, QColor(0x27, 0x27, 0x2a));
        palette.setColor(group, QPalette::Text, off ? dimText : text);
        palette.setColor(group, QPalette::PlaceholderText, dimText);
        palette.setColor(group, QPalette::Button, QColor(0x3a, 0x3a, 0x3e));
        palette.setColor(group, QPalette::ButtonText, off ? dimText : text);
        palette.setColor(group, QPalette::BrightText, QColor(0xff, 0x5c, 0x5c));
        palette.setColor(group, QPalette::ToolTipBase, QColor(0x3a, 0x3a, 0x3e));
        palette.setColor(group, QPalette::ToolTipText, text);
        palette.setColor(group, QPalette::Light, QColor(0x4a, 0x4a, 0x50));
        palette.setColor(group, QPalette::Midlight, QColor(0x40, 0x40, 0x45));
        palette.setColor(group, QPalette::Mid, QColor(0x26, 0x26, 0x29));
        palette.setColor(group, QPalette::Dark, QColor(0x18, 0x18, 0x1a));
        palette.setColor(group, QPalette::Shadow, QColor(0x0a, 0x0a, 0x0a));
        palette.setColor(group, QPalette::HighlightedText, text);
    }
    setAccent(palette, accent, true);
    return palette;
}

Theme::SystemScheme Theme::schemeFromPortal(const QVariant& value)
{
    const QVariant v = unwrapped(value);
    switch (v.typeId()) {
    case QMetaType::UInt:
    case QMetaType::Int:
    case QMetaType::UShort:
    case QMetaType::Short:
    case QMetaType::UChar:
    case QMetaType::ULongLong:
    case QMetaType::LongLong:
        break;
    default:
        return SystemScheme::noPreference;
    }
    switch (v.toLongLong()) {
    case 1:
        return SystemScheme::dark;
    case 2:
        return SystemScheme::light;
    default:
        return SystemScheme::noPreference;
    }
}

std::optional<QColor> Theme::accentFromPortal(const QVariant& value)
{
    const QVariant v = unwrapped(value);
    if (v.userType() != qMetaTypeId<QDBusArgument>())
        return std::nullopt;
    const QDBusArgument argument = v.value<QDBusArgument>();
    if (argument.currentSignature() != QStringLiteral("(ddd)"))
        return std::nullopt;
    double rgb[3] = {};
    argument.beginStructure();
    argument >> rgb[0] >> rgb[1] >> rgb[2];
    argument.endStructure();
    for (const double c : rgb) {
        if (!(c >= 0 && c <= 1))
            return std::nullopt;
    }
    return QColor::fromRgbF(float(rgb[0]), float(rgb[1]), float(rgb[2]));
}

void Theme::watchPortal()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    // QtDBus finds the slot's parameter types by name; this one is not named until used.
    qRegisterMetaType<QDBusVariant>();
    if (!bus.connect(kPortalService, kPortalPath, kPortalSettings, QStringLiteral("SettingChanged"),
                     this, SLOT(portalSettingChanged(QString, QString, QDBusVariant))))
        qWarning("Quillo: cannot follow the desktop's light or dark setting");
    readPortal(kColorScheme, true);
    readPortal(kAccentColor, true);
}

bool Theme::isReadingSystemSettings() const
{
    return m_pendingReads > 0;
}

void Theme::readPortal(const QString& key, bool oneValue)
{
    // Asynchronous: the portal may have to be started, and nothing waits on it.
    QDBusMessage message = QDBusMessage::createMethodCall(
        kPortalService, kPortalPath, kPortalSettings,
        oneValue ? QStringLiteral("ReadOne") : QStringLiteral("Read"));
    message << kAppearanceGroup << key;
    auto* watcher =
        new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(message), this);
    ++m_pendingReads;
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, key, oneValue](QDBusPendingCallWatcher* call) {
                portalReplied(call, key, oneValue);
            });
}

void Theme::portalReplied(QDBusPendingCallWatcher* call, const QString& key, bool oneValue)
{
    call->deleteLater();
    --m_pendingReads;
    const QDBusPendingReply<QVariant> reply = *call;
    if (reply.isError()) {
        // Portals before version 2 only have Read.
        if (oneValue && reply.error().type() == QDBusError::UnknownMethod) {
            readPortal(key, false);
            return;
        }
    } else if (takePortalValue(key, reply.argumentAt<0>())) {
        apply();
    }
    if (m_pendingReads == 0)
        Q_EMIT systemSettingsRead();
}

void Theme::portalSettingChanged(const QString& group, const QString& key,
                                 const QDBusVariant& value)
{
    if (group == kAppearanceGroup && takePortalValue(key, value.variant()))
        apply();
}

// Returns whether the applied theme has to change; nothing is applied before the
// application first asks for it.
bool Theme::takePortalValue(const QString& key, const QVariant& value)
{
    if (key == kColorScheme) {
        const SystemScheme scheme = schemeFromPortal(value);
        if (scheme == m_systemScheme)
            return false;
        m_systemScheme = scheme;
        return m_applied && appearance() == Appearance::system;
    }
    if (key == kAccentColor) {
        const std::optional<QColor> accent = accentFromPortal(value);
        if (accent == m_portalAccent)
            return false;
        m_portalAccent = accent;
        const std::optional<QString> hex = accentHex();
        return m_applied && !(hex && parseHex(*hex));
    }
    return false;
}
