#pragma once

// Helpers of the preview widget tests. They wait in a real event loop: the web
// engine's work arrives as many small events, and QTest::qWaitFor's naps between
// rounds would make every page take many times as long.

#include <QBuffer>
#include <QDeadlineTimer>
#include <QEventLoop>
#include <QImage>
#include <QSignalSpy>
#include <QTimer>
#include <QWebEnginePage>
#include <QWebEngineScript>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace testing_preview {

constexpr int kTimeoutMs = 60000;

inline std::string pngBytes(int side)
{
    QImage image(side, side, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    image.save(&buffer, "PNG");
    return bytes.toStdString();
}

// Until the spy has seen `file`; false on timeout.
inline bool waitShown(QSignalSpy& spy, const std::filesystem::path& file)
{
    const QDeadlineTimer deadline(kTimeoutMs);
    qsizetype checked = 0;
    for (;;) {
        for (; checked < spy.size(); ++checked)
            if (spy.at(checked).at(0).value<std::filesystem::path>() == file)
                return true;
        if (deadline.hasExpired() || !spy.wait(int(deadline.remainingTime())))
            return false;
    }
}

// Runs the event loop for a while, so that late work gets its chance.
inline void spin(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// A script's value, run beside the page's own (disabled) scripts.
inline QVariant evaluate(QWebEnginePage* page, const QString& script)
{
    // Shared with the callback, which may come after a timeout.
    struct Reply {
        std::optional<QVariant> value;
        QEventLoop loop;
    };
    auto reply = std::make_shared<Reply>();
    page->runJavaScript(script, QWebEngineScript::ApplicationWorld, [reply](const QVariant& value) {
        reply->value = value;
        reply->loop.quit();
    });
    QTimer::singleShot(kTimeoutMs, &reply->loop, &QEventLoop::quit);
    if (!reply->value)
        reply->loop.exec();
    return reply->value.value_or(QVariant());
}

} // namespace testing_preview
