#include "browser/preview/PreviewRequestInterceptor.h"

#include "core/FileUri.h"
#include "core/PathText.h"

#include <QMutexLocker>
#include <QWebEngineUrlRequestInfo>
#include <algorithm>

PreviewRequestInterceptor::PreviewRequestInterceptor(QObject* parent)
    : QWebEngineUrlRequestInterceptor(parent)
{
}

void PreviewRequestInterceptor::allow(const std::filesystem::path& page,
                                      const std::filesystem::path& folder)
{
    QMutexLocker lock(&m_mutex);
    m_page = PathText::standardized(page);
    m_folder = PathText::standardized(folder);
}

void PreviewRequestInterceptor::interceptRequest(QWebEngineUrlRequestInfo& info)
{
    if (!admit(info.requestUrl()))
        info.block(true);
}

bool PreviewRequestInterceptor::admit(const QUrl& url)
{
    if (permits(url))
        return true;
    Q_EMIT blocked(url);
    return false;
}

bool PreviewRequestInterceptor::permits(const QUrl& url) const
{
    if (url.scheme() == QLatin1String("data"))
        return true;
    const auto path = localPath(url);
    if (!path)
        return false;
    QMutexLocker lock(&m_mutex);
    if (*path == m_page)
        return true;
    return !m_folder.empty() && isInside(*path, m_folder);
}

std::optional<std::filesystem::path> PreviewRequestInterceptor::localPath(const QUrl& url)
{
    // Decoded byte for byte: a name need not be valid UTF-8.
    const auto path = FileUri::toPath(url.toEncoded());
    if (!path)
        return std::nullopt;
    return PathText::standardized(*path);
}

bool PreviewRequestInterceptor::isInside(const std::filesystem::path& path,
                                         const std::filesystem::path& folder)
{
    const auto [inFolder, inPath] =
        std::mismatch(folder.begin(), folder.end(), path.begin(), path.end());
    return inFolder == folder.end();
}
