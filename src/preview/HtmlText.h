#pragma once

#include <QString>
#include <QStringView>

// Text into HTML: "&", "<", ">" and the double quote become entities, in that order.
namespace HtmlText {

inline void appendEscaped(QString& out, QStringView text)
{
    for (const QChar c : text) {
        switch (c.unicode()) {
        case '&':
            out += QLatin1String("&amp;");
            break;
        case '<':
            out += QLatin1String("&lt;");
            break;
        case '>':
            out += QLatin1String("&gt;");
            break;
        case '"':
            out += QLatin1String("&quot;");
            break;
        default:
            out += c;
        }
    }
}

inline QString escaped(QStringView text)
{
    QString out;
    out.reserve(text.size());
    appendEscaped(out, text);
    return out;
}

} // namespace HtmlText
