#pragma once

#include <QMutex>
#include <QUrl>
#include <QWebEngineUrlRequestInterceptor>
#include <filesystem>
#include <optional>

// Lets a preview page load only itself, data: URLs and files inside the previewed
// file's folder; everything else (the network, other local files, other schemes) is
// blocked, so a hostile document can neither reach out nor read beside itself.
class PreviewRequestInterceptor : public QWebEngineUrlRequestInterceptor {
    Q_OBJECT
public:
    explicit PreviewRequestInterceptor(QObject* parent = nullptr);

    // The page about to be loaded and the folder whose files it may show.
    void allow(const std::filesystem::path& page, const std::filesystem::path& folder);
    void interceptRequest(QWebEngineUrlRequestInfo& info) override;

    bool permits(const QUrl& url) const;
    // permits(), and blocked() when not.
    bool admit(const QUrl& url);

    // The local path of a file: URL from its raw bytes, ".." resolved lexically;
    // none for other schemes and remote hosts.
    static std::optional<std::filesystem::path> localPath(const QUrl& url);
    // Whether `path` is `folder` or lies below it (both standardized).
    static bool isInside(const std::filesystem::path& path, const std::filesystem::path& folder);

Q_SIGNALS:
    void blocked(const QUrl& url);

private:
    mutable QMutex m_mutex;
    std::filesystem::path m_page;
    std::filesystem::path m_folder;
};
