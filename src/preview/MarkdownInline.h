#pragma once

#include <QString>
#include <QStringView>
#include <vector>

// The inline pass: code spans, escapes, autolinks, raw tags, HTML escaping, images,
// links, bare URLs, strong, emphasis, strike-through and hard breaks, one rule after
// the other over the whole text. Each rule is a hand-written matcher that finds what
// its regular expression would find under QRegularExpression's default options (so
// \s and \w are ASCII classes), without the cost of a regex engine per paragraph.
// Finished HTML is swapped for a private-use marker so that later rules leave it alone.
class MarkdownInline {
public:
    // Appends the HTML of `text` to `out`. Reuses its buffers between calls.
    void render(QStringView text, QString& out);

private:
    // A rule reads the current text and, when it matches anything, writes the new
    // text to `out` and returns true.
    bool codeSpans(QStringView in, QString& out);
    bool backslashEscapes(QStringView in, QString& out);
    bool autolinks(QStringView in, QString& out);
    bool rawTags(QStringView in, QString& out);
    bool escapeHtml(QStringView in, QString& out);
    bool imagesOrLinks(QStringView in, QString& out, bool images);
    bool bareUrls(QStringView in, QString& out);
    bool spans(QStringView in, QString& out, QStringView chars, qsizetype width, bool bounded,
               QStringView openTag, QStringView closeTag);
    bool hardBreaks(QStringView in, QString& out);

    // Appends the marker of a new protected piece; the piece is the text appended to
    // m_pieceText between beginPiece and the marker.
    void beginPiece();
    void endPiece(QString& out);
    void restore(QStringView text, qsizetype below, QString& out) const;
    void releaseLargeBuffers();

    QString m_pieceText;
    std::vector<std::pair<qsizetype, qsizetype>> m_pieces; // start and length in m_pieceText
    qsizetype m_pieceStart = 0;
    QString m_buffers[2];
};
