#pragma once

#include <QColor>
#include <QDBusVariant>
#include <QList>
#include <QObject>
#include <QString>
#include <optional>

class QDBusPendingCallWatcher;
class QPalette;

// The program's appearance (light, dark or the desktop's) and accent colour,
// persisted in AppDefaults::store() and applied to the whole application.
// The accent is the palette's Highlight, so every view draws selections with it.
class Theme : public QObject {
    Q_OBJECT
    Q_PROPERTY(QColor accentColor READ accentColor NOTIFY themeChanged)
    Q_PROPERTY(bool dark READ isDark NOTIFY themeChanged)
public:
    enum class Appearance { system, light, dark };

    // A named accent colour offered in the settings window.
    struct Preset {
        QString name;
        QString hex;
        bool operator==(const Preset&) const = default;
    };

    // What the desktop says about dark or light.
    enum class SystemScheme { noPreference, dark, light };

    static Theme& shared();

    Appearance appearance() const;
    void setAppearance(Appearance appearance);

    // Absent: the desktop's accent colour.
    std::optional<QString> accentHex() const;
    void setAccentHex(const std::optional<QString>& hex);

    static const QList<Preset>& presets();

    QColor accentColor() const;
    QColor systemAccentColor() const;
    // Whether the applied palette is the dark one.
    bool isDark() const;

    // Sets the application style and palette, then emits themeChanged().
    void apply();
    // Whether the desktop's settings are still being asked for.
    bool isReadingSystemSettings() const;

    static QString rawValue(Appearance appearance);
    static Appearance appearanceFromRaw(const QVariant& raw);
    // "#RRGGBB" or "RRGGBB", any case.
    static std::optional<QColor> parseHex(const QString& text);
    // The portal's "color-scheme" value: 1 prefers dark, 2 prefers light.
    static SystemScheme schemeFromPortal(const QVariant& value);
    // The portal's "accent-color" value: (r, g, b) in 0…1; outside that range means unset.
    static std::optional<QColor> accentFromPortal(const QVariant& value);

    static QPalette lightPalette(const QColor& accent);
    static QPalette darkPalette(const QColor& accent);

Q_SIGNALS:
    void themeChanged();
    // The desktop's answer came in (or there is no desktop portal to ask).
    void systemSettingsRead();

private Q_SLOTS:
    void portalSettingChanged(const QString& group, const QString& key, const QDBusVariant& value);

private:
    Theme();
    void watchPortal();
    void readPortal(const QString& key, bool oneValue);
    void portalReplied(QDBusPendingCallWatcher* call, const QString& key, bool oneValue);
    bool takePortalValue(const QString& key, const QVariant& value);

    SystemScheme m_systemScheme = SystemScheme::noPreference;
    std::optional<QColor> m_portalAccent;
    QColor m_platformAccent;
    int m_pendingReads = 0;
    bool m_applied = false;
};
