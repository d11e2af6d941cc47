#pragma once

#include <QString>
#include <QStringView>

// Character classes and the copy-on-match buffer shared by the Markdown renderer's
// hand-written matchers.
namespace MarkdownScan {

// \s and \w as QRegularExpression reads them without Unicode properties: ASCII only.
inline bool isSpace(char16_t c)
{
    return c == u' ' || (c >= u'\t' && c <= u'\r');
}

inline bool isWord(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
           c == u'_';
}

inline bool isAsciiLetter(char16_t c)
{
    return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
}

inline bool startsAt(QStringView text, qsizetype at, QStringView prefix)
{
    return at <= text.size() && text.sliced(at).startsWith(prefix);
}

// Copies the unmatched stretches of the input and gives the output buffer its first
// contents only when a rule matches at all.
class Rewrite {
public:
    Rewrite(QStringView in, QString& out)
        : m_in(in)
        , m_out(out)
    {
    }
    // Copies the input up to `at` and returns the buffer for the replacement.
    QString& upTo(qsizetype at)
    {
        if (!m_changed) {
            m_out.clear();
            m_out.reserve(m_in.size() + m_in.size() / 4 + 32);
            m_changed = true;
        }
        m_out.append(m_in.sliced(m_copied, at - m_copied));
        return m_out;
    }
    void resumeAt(qsizetype at) { m_copied = at; }
    // Where the last replacement ended: no match may start before it.
    qsizetype resumedAt() const { return m_copied; }
    bool finish()
    {
        if (m_changed)
            m_out.append(m_in.sliced(m_copied));
        return m_changed;
    }

private:
    QStringView m_in;
    QString& m_out;
    qsizetype m_copied = 0;
    bool m_changed = false;
};

} // namespace MarkdownScan
