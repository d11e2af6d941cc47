#pragma once

#include <QStringList>
#include <QVariant>

// One settings value as text, in the forms of Qt's INI format: plain text and
// numbers as they are, "@ByteArray(...)", "@Variant(...)" (a QDataStream),
// "@Rect(...)" and the like, "@Invalid()"; a leading "@" is doubled.
namespace IniValues {

QString toText(const QVariant& value);
QVariant fromText(const QString& text);
// A list's items: text, unless one of them names a type.
QVariant fromTexts(QStringList texts);

} // namespace IniValues
