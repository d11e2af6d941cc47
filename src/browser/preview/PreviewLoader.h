#pragma once

#include "preview/FilePreview.h"

#include <QString>
#include <filesystem>
#include <functional>
#include <optional>

// What the preview shows for a file that is not handed to a viewer, worked out off
// the main thread: a page to load, plain text, or the card with a message.
struct PreviewContent {
    enum class Shows { page, text, card };
    Shows shows = Shows::card;
    std::filesystem::path page; // the local file the web view loads
    QString text;
    QString message; // for the card; empty when there is nothing wrong
};

// Reads and renders in the calling thread (a preview pool thread). Generated pages
// are written to a private folder of this process, removed when it ends.
class PreviewLoader {
public:
    // Plain text is shown up to this many bytes.
    static constexpr qsizetype kTextLimit = 256 * 1024;

    struct Request {
        std::filesystem::path file;
        std::optional<PreviewKind> kind; // markdown, csv, html or none
        QString accentHex;
        // Unique per request, e.g. "3-17"; names the generated page.
        QString pageName;
        // False once a newer request came: the work stops early.
        std::function<bool()> current;
    };

    // None when the request was superseded before its result was ready.
    static std::optional<PreviewContent> prepare(const Request& request);
    // Removes this page name prefix's pages but `keep` (an owner going away passes none).
    static void removePages(const QString& prefix, const QString& keep = {});

    static QString unreadableMessage(const std::filesystem::path& file);

private:
    static std::optional<PreviewContent> generatedPage(const Request& request);
    static PreviewContent htmlFile(const Request& request);
    static PreviewContent otherFile(const Request& request);
    static std::filesystem::path pagesFolder();
};
