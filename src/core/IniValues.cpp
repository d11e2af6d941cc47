#include "core/IniValues.h"

#include <QDataStream>
#include <QIODevice>
#include <QPoint>
#include <QRect>
#include <QSize>

namespace {

QStringList numbersIn(const QString& s, qsizetype from)
{
    return s.mid(from, s.size() - from - 1).split(u' ', Qt::SkipEmptyParts);
}

} // namespace

namespace IniValues {

QString toText(const QVariant& v)
{
    switch (v.metaType().id()) {
    case QMetaType::UnknownType:
        return QStringLiteral("@Invalid()");
    case QMetaType::QByteArray:
        return QLatin1String("@ByteArray(") + QLatin1String(v.toByteArray()) + u')';
    case QMetaType::QString:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Bool:
    case QMetaType::Float:
    case QMetaType::Double: {
        QString text = v.toString();
        if (text.contains(QChar::Null))
            return QLatin1String("@String(") + text + u')';
        if (text.startsWith(u'@'))
            text.prepend(u'@');
        return text;
    }
    case QMetaType::QRect: {
        const QRect r = v.toRect();
        return QString::asprintf("@Rect(%d %d %d %d)", r.x(), r.y(), r.width(), r.height());
    }
    case QMetaType::QSize:
        return QString::asprintf("@Size(%d %d)", v.toSize().width(), v.toSize().height());
    case QMetaType::QPoint:
        return QString::asprintf("@Point(%d %d)", v.toPoint().x(), v.toPoint().y());
    default: {
        const bool dateTime = v.metaType().id() == QMetaType::QDateTime;
        QByteArray bytes;
        QDataStream stream(&bytes, QIODevice::WriteOnly);
        stream.setVersion(dateTime ? QDataStream::Qt_5_6 : QDataStream::Qt_4_0);
        stream << v;
        return QLatin1String(dateTime ? "@DateTime(" : "@Variant(") + QLatin1String(bytes) + u')';
    }
    }
}

QVariant fromText(const QString& s)
{
    if (!s.startsWith(u'@'))
        return s;
    if (s.endsWith(u')')) {
        if (s.startsWith(QLatin1String("@ByteArray(")))
            return QStringView(s).sliced(11).chopped(1).toLatin1();
        if (s.startsWith(QLatin1String("@String(")))
            return s.sliced(8).chopped(1);
        if (s.startsWith(QLatin1String("@Variant(")) || s.startsWith(QLatin1String("@DateTime("))) {
            const bool dateTime = s.at(1) == u'D';
            QByteArray bytes = QStringView(s).sliced(dateTime ? 10 : 9).toLatin1();
            QDataStream stream(&bytes, QIODevice::ReadOnly);
            stream.setVersion(dateTime ? QDataStream::Qt_5_6 : QDataStream::Qt_4_0);
            QVariant result;
            stream >> result;
            return result;
        }
        if (s.startsWith(QLatin1String("@Rect("))) {
            const QStringList n = numbersIn(s, 6);
            if (n.size() == 4)
                return QRect(n[0].toInt(), n[1].toInt(), n[2].toInt(), n[3].toInt());
        } else if (s.startsWith(QLatin1String("@Size("))) {
            const QStringList n = numbersIn(s, 6);
            if (n.size() == 2)
                return QSize(n[0].toInt(), n[1].toInt());
        } else if (s.startsWith(QLatin1String("@Point("))) {
            const QStringList n = numbersIn(s, 7);
            if (n.size() == 2)
                return QPoint(n[0].toInt(), n[1].toInt());
        } else if (s == QLatin1String("@Invalid()")) {
            return {};
        }
    }
    if (s.startsWith(QLatin1String("@@")))
        return s.sliced(1);
    return s;
}

QVariant fromTexts(QStringList items)
{
    for (QString& item : items) {
        if (!item.startsWith(u'@'))
            continue;
        if (item.size() < 2 || item.at(1) != u'@') {
            QVariantList variants;
            for (const QString& each : std::as_const(items))
                variants.append(fromText(each));
            return variants;
        }
        item.remove(0, 1);
    }
    return items;
}

} // namespace IniValues
