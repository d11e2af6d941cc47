#pragma once

#include <QByteArrayView>
#include <QPlainTextEdit>

// Plain text in a fixed-width font, read-only, following the preview zoom.
class TextPreview : public QPlainTextEdit {
    Q_OBJECT
public:
    explicit TextPreview(QWidget* parent = nullptr);
    ~TextPreview() override;

    void setZoom(double factor);

    // The text shown for the first bytes of a file: UTF-8 with invalid bytes
    // replaced, cut before a character that the limit split, and a last line "…"
    // when the file goes on. Safe off the main thread.
    static QString decode(QByteArrayView head, bool truncated);

private:
    qreal m_basePointSize;
};
