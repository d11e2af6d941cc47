#pragma once

#include <QString>
#include <QStringView>

// Text into HTML: "&", "<", ">" and the double quote become entities, in that order.
namespace HtmlText {

// Copies the runs between entities whole: Markdown pages pass megabytes through here.
inline void appendEscaped(QString& out, QStringView text)
{
    qsizetype copied = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        QLatin1String entity;
        switch (text[i].unicode()) {
        case '&':
            entity = QLatin1String("&amp;");
            break;
        case '<':
            entity = QLatin1String("&lt;");
            break;
        case '>':
            entity = QLatin1String("&gt;");
            break;
        case '"':
            entity = QLatin1String("&quot;");
            break;
        default:
            continue;
        }
        out += text.sliced(copied, i - copied);
        out += entity;
        copied = i + 1;
    }
    out += text.sliced(copied);
}

inline QString escaped(QStringView text)
{
    QString out;
    out.reserve(text.size());
    appendEscaped(out, text);
    return out;
}

} // namespace HtmlText
