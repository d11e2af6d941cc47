#pragma once

#include <QByteArray>
#include <QSettings>

// The text of an INI settings file as Qt's own INI format writes and reads it
// (sections, escaped keys, quoted and escaped values, lists, @ByteArray(...),
// @Variant(...)), so files written by either read back the same in the other.
// Reading also notes lines that are not a section, a key or a comment.
namespace IniText {

struct Reading {
    QSettings::SettingsMap values; // what could be read
    int damagedLines = 0;          // lines left out: no "=", a section with no "]"
};

Reading parse(QByteArrayView text);
QByteArray encode(const QSettings::SettingsMap& values);

} // namespace IniText
