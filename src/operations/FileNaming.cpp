#include "operations/FileNaming.h"

#include "core/PathText.h"
#include "platform/DirectoryScanner.h"

#include <QRegularExpression>
#include <limits>

namespace fs = std::filesystem;

namespace FileNaming {

namespace {

constexpr qsizetype kMaxNameBytes = 255;

// The probing counter has no upper bound; wrapping around would revisit taken names.
void advance(long long& n)
{
    if (n == std::numeric_limits<long long>::max())
        qFatal("FileNaming: name counter overflow");
    ++n;
}

// One candidate: base, then "." and ext when ext is not empty, beside the wished item.
fs::path make(const fs::path& folder, const QString& base, const QString& ext)
{
    const QString name = ext.isEmpty() ? base : base + QLatin1Char('.') + ext;
    return folder / PathText::fromStorableText(name);
}

// The text with every unpaired surrogate (a byte that is not UTF-8, in the storable
// form) as U+FFFD: the regular expression engine refuses invalid UTF-16, and one unit
// for one keeps the match positions valid for the original text.
QString matchable(const QString& text)
{
    QString out = text;
    for (qsizetype i = 0; i < out.size(); ++i) {
        const QChar c = out.at(i);
        if (c.isHighSurrogate() && i + 1 < out.size() && out.at(i + 1).isLowSurrogate())
            ++i;
        else if (c.isSurrogate())
            out[i] = QChar::ReplacementCharacter;
    }
    return out;
}

} // namespace

std::optional<QString> validationError(const QString& name)
{
    if (name.trimmed().isEmpty())
        return QStringLiteral("名前を入力してください。");
    if (name.contains(QLatin1Char('/')))
        return QStringLiteral("名前に「/」は使えません。");
    if (name == QLatin1String(".") || name == QLatin1String(".."))
        return QStringLiteral("「") + name + QStringLiteral("」は名前として使えません。");
    // Measured on the bytes the name will have on disk, so that a storable form with
    // escaped bytes counts each of them once.
    if (qsizetype(PathText::fromStorableText(name).native().size()) > kMaxNameBytes)
        return QStringLiteral("名前が長すぎます。");
    return std::nullopt;
}

SplitName split(const QString& name, bool isDirectory)
{
    if (isDirectory)
        return {name, QString()};
    // The extension is what follows the last dot; a leading dot (".zshrc") or a
    // trailing one ("a.") leaves no usable base or extension.
    const qsizetype dot = name.lastIndexOf(QLatin1Char('.'));
    if (dot <= 0 || dot == name.size() - 1)
        return {name, QString()};
    return {name.left(dot), name.mid(dot + 1)};
}

QString stripCopySuffix(const QString& base)
{
    static const QRegularExpression suffix(QStringLiteral(" のコピー( \\d+)?$"));
    const QString composed = base.normalized(QString::NormalizationForm_C);
    const QRegularExpressionMatch match = suffix.match(matchable(composed));
    if (!match.hasMatch())
        return composed;
    const QString before = composed.left(match.capturedStart());
    return before.isEmpty() ? composed : before;
}

fs::path uniquePath(const fs::path& wished, bool isDirectory, Style style,
                    const std::function<bool(const fs::path&)>& exists)
{
    const fs::path folder = wished.parent_path();
    const SplitName parts = split(PathText::toStorableText(wished.filename()), isDirectory);
    if (style == Style::copy) {
        const QString base = stripCopySuffix(parts.base);
        const fs::path first = make(folder, base + QStringLiteral(" のコピー"), parts.ext);
        if (!exists(first))
            return first;
        for (long long n = 2;; advance(n)) {
            const fs::path candidate =
                make(folder, base + QStringLiteral(" のコピー ") + QString::number(n), parts.ext);
            if (!exists(candidate))
                return candidate;
        }
    }
    if (!exists(wished))
        return wished;
    for (long long n = 2;; advance(n)) {
        const fs::path candidate =
            make(folder, parts.base + QLatin1Char(' ') + QString::number(n), parts.ext);
        if (!exists(candidate))
            return candidate;
    }
}

bool exists(const fs::path& path)
{
    return DirectoryScanner::exists(path);
}

} // namespace FileNaming
