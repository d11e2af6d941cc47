#include "preview/TextDecoding.h"

#include "preview/Utf8Validator.h"

#include <QStringDecoder>
#include <memory>
#include <unicode/ucnv.h>

namespace TextDecoding {

std::optional<Encoding> fromByteOrderMark(QByteArrayView data)
{
    if (data.startsWith("\xEF\xBB\xBF"))
        return Encoding::utf8Bom;
    if (data.startsWith("\xFF\xFE"))
        return Encoding::utf16LittleEndian;
    if (data.startsWith("\xFE\xFF"))
        return Encoding::utf16BigEndian;
    return std::nullopt;
}

Encoding detect(QByteArrayView data)
{
    if (const std::optional<Encoding> marked = fromByteOrderMark(data))
        return *marked;
    if (Utf8Validator::check({data.data(), size_t(data.size())}) == Utf8Validator::Status::valid)
        return Encoding::utf8;
    if (fromShiftJis(data))
        return Encoding::shiftJis;
    return Encoding::utf8Lossy;
}

qsizetype byteOrderMarkLength(Encoding encoding)
{
    switch (encoding) {
    case Encoding::utf8Bom:
        return 3;
    case Encoding::utf16LittleEndian:
    case Encoding::utf16BigEndian:
        return 2;
    default:
        return 0;
    }
}

QString decode(QByteArrayView data, Encoding encoding)
{
    data = data.sliced(std::min(data.size(), byteOrderMarkLength(encoding)));
    switch (encoding) {
    case Encoding::utf16LittleEndian:
    case Encoding::utf16BigEndian: {
        // Our own mark is gone; a second one is text, not another mark to drop.
        QStringDecoder decoder(encoding == Encoding::utf16LittleEndian ? QStringConverter::Utf16LE
                                                                       : QStringConverter::Utf16BE,
                               QStringConverter::Flag::ConvertInitialBom);
        return decoder.decode(data);
    }
    case Encoding::shiftJis:
        if (std::optional<QString> text = fromShiftJis(data))
            return *text;
        break;
    default:
        break;
    }
    return QString::fromUtf8(data);
}

std::optional<QString> fromShiftJis(QByteArrayView data)
{
    // ICU's Shift_JIS is the Windows code page (with the NEC and IBM characters such as
    // ① and 髙), which is how Japanese spreadsheets are saved.
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<UConverter, decltype(&ucnv_close)> converter(
        ucnv_open("Shift_JIS", &status), &ucnv_close);
    if (U_FAILURE(status))
        return std::nullopt;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
    // Every byte or pair of bytes gives one UTF-16 unit at most.
    QString text(data.size() + 1, Qt::Uninitialized);
    auto* target = reinterpret_cast<UChar*>(text.data());
    auto* const targetStart = target;
    const char* source = data.data();
    ucnv_toUnicode(converter.get(), &target, target + text.size(), &source,
                   data.data() + data.size(), nullptr, true, &status);
    if (U_FAILURE(status))
        return std::nullopt;
    text.truncate(target - targetStart);
    return text;
}

} // namespace TextDecoding
