#include "browser/preview/TextPreview.h"

#include <QFontDatabase>

namespace {

// Length of the UTF-8 sequence a lead byte starts; 0 for a continuation or
// invalid byte.
int sequenceLength(unsigned char lead)
{
    if (lead < 0x80)
        return 1;
    if ((lead & 0xE0) == 0xC0)
        return 2;
    if ((lead & 0xF0) == 0xE0)
        return 3;
    if ((lead & 0xF8) == 0xF0)
        return 4;
    return 0;
}

// The end of the last whole character in `bytes`, which were cut at a limit.
qsizetype wholeCharacters(QByteArrayView bytes)
{
    const qsizetype size = bytes.size();
    for (qsizetype i = size - 1; i >= 0 && i >= size - 4; --i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const int length = sequenceLength(byte);
        return length > 0 && i + length > size ? i : size;
    }
    return size;
}

} // namespace

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
        head = head.first(wholeCharacters(head));
    QString text = QString::fromUtf8(head);
    if (truncated) {
        if (!text.endsWith(QLatin1Char('\n')))
            text += QLatin1Char('\n');
        text += QStringLiteral("…");
    }
    return text;
}
