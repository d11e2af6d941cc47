#include "browser/preview/TextPreview.h"

#include "preview/Utf8Validator.h"

#include <QFontDatabase>

TextPreview::TextPreview(QWidget* parent)
    : QPlainTextEdit(parent)
{
    setReadOnly(true);
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::ClickFocus);
    const QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_basePointSize = font.pointSizeF() > 0 ? font.pointSizeF() : 10.0;
    setFont(font);
}

TextPreview::~TextPreview() = default;

void TextPreview::setZoom(double factor)
{
    QFont zoomed = font();
    zoomed.setPointSizeF(m_basePointSize * factor);
    setFont(zoomed);
}

QString TextPreview::decode(QByteArrayView head, bool truncated)
{
    if (truncated)
        head = head.first(qsizetype(
            Utf8Validator::wholeCharacters(std::string_view(head.data(), size_t(head.size())))));
    QString text = QString::fromUtf8(head);
    if (truncated) {
        if (!text.endsWith(QLatin1Char('\n')))
            text += QLatin1Char('\n');
        text += QStringLiteral("…");
    }
    return text;
}
