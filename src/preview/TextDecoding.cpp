#include "preview/TextDecoding.h"

#include "preview/Utf8Validator.h"

#include <QStringDecoder>
#include <memory>
#include <optional>
#include <unicode/ucnv.h>

namespace {

// Strict: nothing for bytes that are not Shift_JIS (or characters it cannot map).
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

} // namespace

namespace TextDecoding {

QString decode(QByteArrayView data)
{
    if (data.startsWith("\xEF\xBB\xBF"))
        return QString::fromUtf8(data.sliced(3));
    if (data.startsWith("\xFF\xFE") || data.startsWith("\xFE\xFF")) {
        // Our own mark is gone; a second one is text, not another mark to drop.
        QStringDecoder decoder(data.startsWith("\xFF\xFE") ? QStringConverter::Utf16LE
                                                           : QStringConverter::Utf16BE,
                               QStringConverter::Flag::ConvertInitialBom);
        return decoder.decode(data.sliced(2));
    }
    if (Utf8Validator::check({data.data(), size_t(data.size())}) != Utf8Validator::Status::valid) {
        if (std::optional<QString> text = fromShiftJis(data))
            return *std::move(text);
    }
    return QString::fromUtf8(data);
}

} // namespace TextDecoding
