#include "core/TextFolding.h"

namespace TextFolding {

QString fold(const QString& text)
{
    // NFKD maps width variants to one form and splits off combining marks.
    const QString decomposed = text.normalized(QString::NormalizationForm_KD);
    QString out;
    out.reserve(decomposed.size());
    for (const QChar c : decomposed) {
        const auto category = c.category();
        if (category == QChar::Mark_NonSpacing || category == QChar::Mark_Enclosing)
            continue;
        out += c;
    }
    return out.toCaseFolded();
}

bool containsFolded(const QString& haystack, const QString& foldedNeedle)
{
    if (foldedNeedle.isEmpty())
        return true;
    return fold(haystack).contains(foldedNeedle);
}

} // namespace TextFolding
