#include "browser/preview/MediaPreview.h"

#include "core/FileUri.h"
#include "core/PathText.h"
#include "platform/MediaSupport.h"

#include <QAudioOutput>
#include <QEvent>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QMouseEvent>
#include <QSlider>
#include <QStyle>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>
#include <QVideoWidget>

namespace fs = std::filesystem;

namespace {

// A backend that never answers (a stuck pipeline, a hung network mount) must not
// leave the preview waiting: past this, the file counts as unplayable.
constexpr int watchdogMilliseconds = 20'000;

QString clockText(qint64 milliseconds)
{
    const qint64 seconds = std::max<qint64>(milliseconds, 0) / 1000;
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

MediaPreview::MediaPreview(QWidget* parent)
    : FileViewer(parent)
    , m_audioIcon(new QLabel(this))
    , m_play(new QToolButton(this))
    , m_position(new QSlider(Qt::Horizontal, this))
    , m_time(new QLabel(this))
    , m_layout(new QVBoxLayout(this))
{
    m_audioIcon->setAlignment(Qt::AlignCenter);
    m_audioIcon->setPixmap(QIcon::fromTheme(QStringLiteral("audio-x-generic")).pixmap(128, 128));
    m_play->setAutoRaise(true);
    m_position->setTracking(true);
    m_time->setTextFormat(Qt::PlainText);

    auto* controls = new QHBoxLayout;
    controls->addWidget(m_play);
    controls->addWidget(m_position, 1);
    controls->addWidget(m_time);
    m_layout->setContentsMargins(0, 0, 0, 6);
    m_layout->addWidget(m_audioIcon, 1);
    m_layout->addLayout(controls);

    m_watchdog.setSingleShot(true);
    m_watchdog.setInterval(watchdogMilliseconds);
    connect(&m_watchdog, &QTimer::timeout, this, &MediaPreview::fail);
    connect(m_play, &QToolButton::clicked, this, &MediaPreview::togglePlayback);
    clear();
}

bool MediaPreview::ensurePlayer()
{
    if (m_player)
        return true;
    // The media backend is chosen and started with the first player: made only when
    // a file is played, and never on a backend that would crash making it.
    const QByteArray backend = qgetenv("QT_MEDIA_BACKEND");
    if ((backend.isEmpty() || backend == "gstreamer") && !gstreamerPlaybackPresent())
        return false;
    m_player = new QMediaPlayer(this);
    if (!m_player->isAvailable()) {
        delete std::exchange(m_player, nullptr);
        return false;
    }
    m_audio = new QAudioOutput(this);
    m_video = new QVideoWidget(this);
    m_video->installEventFilter(this);
    m_layout->insertWidget(0, m_video, 1);
    m_player->setAudioOutput(m_audio);
    m_player->setVideoOutput(m_video);
    // Seeks while dragging, so the picture follows the thumb.
    connect(m_position, &QSlider::sliderMoved, m_player, &QMediaPlayer::setPosition);
    connect(m_player, &QMediaPlayer::positionChanged, this, &MediaPreview::updatePosition);
    connect(m_player, &QMediaPlayer::durationChanged, this, &MediaPreview::updatePosition);
    connect(m_player, &QMediaPlayer::playbackStateChanged, this, &MediaPreview::updateControls);
    connect(m_player, &QMediaPlayer::hasVideoChanged, this, &MediaPreview::updateControls);
    connect(m_player, &QMediaPlayer::seekableChanged, this, &MediaPreview::updateControls);
    connect(m_player, &QMediaPlayer::mediaStatusChanged, this, &MediaPreview::statusChanged);
    connect(m_player, &QMediaPlayer::metaDataChanged, this, [this] {
        // Audio has nothing more to wait for once its facts are known.
        if (m_pending && !m_player->hasVideo() && m_player->duration() > 0)
            announce();
    });
    connect(m_player, &QMediaPlayer::errorOccurred, this, [this](QMediaPlayer::Error error) {
        if (error != QMediaPlayer::NoError)
            fail();
    });
    return true;
}

MediaPreview::~MediaPreview() = default;

void MediaPreview::load(const fs::path& file)
{
    clear();
    m_file = file;
    m_pending = true;
    if (!ensurePlayer()) {
        // No usable media backend on this system: say so through the usual failure,
        // later, as every other outcome arrives.
        QMetaObject::invokeMethod(this, &MediaPreview::fail, Qt::QueuedConnection);
        return;
    }
    const std::string uri = FileUri::fromPath(fs::absolute(file));
    m_player->setSource(QUrl::fromEncoded(QByteArray::fromStdString(uri), QUrl::StrictMode));
    m_watchdog.start();
}

void MediaPreview::clear()
{
    m_pending = false;
    m_watchdog.stop();
    m_file.clear();
    if (m_player) {
        m_player->stop();
        m_player->setSource(QUrl());
    }
    m_position->setRange(0, 0);
    updatePosition();
    updateControls();
}

void MediaPreview::setZoom(double)
{
    // Video always fits the view and audio has no picture: there is nothing to zoom.
}

bool MediaPreview::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_video && event->type() == QEvent::MouseButtonRelease &&
        static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        togglePlayback();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

void MediaPreview::togglePlayback()
{
    if (m_file.empty() || !m_player)
        return;
    if (m_player->playbackState() == QMediaPlayer::PlayingState)
        m_player->pause();
    else
        m_player->play();
}

void MediaPreview::statusChanged(QMediaPlayer::MediaStatus status)
{
    if (!m_pending)
        return;
    if (status == QMediaPlayer::LoadedMedia || status == QMediaPlayer::BufferedMedia)
        announce();
    else if (status == QMediaPlayer::InvalidMedia)
        fail();
}

void MediaPreview::announce()
{
    m_pending = false;
    m_watchdog.stop();
    updateControls();
    Q_EMIT shown(m_file);
}

void MediaPreview::fail()
{
    if (!m_pending)
        return;
    const fs::path file = m_file;
    m_pending = false;
    m_watchdog.stop();
    if (m_player) {
        m_player->stop();
        m_player->setSource(QUrl());
    }
    Q_EMIT failed(
        file, QStringLiteral("「%1」を再生できませんでした。").arg(PathText::displayName(file)));
}

void MediaPreview::updatePosition()
{
    const qint64 duration = m_player ? m_player->duration() : 0;
    const qint64 position = m_player ? m_player->position() : 0;
    if (m_position->maximum() != duration)
        m_position->setRange(0, int(std::min<qint64>(duration, INT_MAX)));
    if (!m_position->isSliderDown())
        m_position->setValue(int(std::min<qint64>(position, INT_MAX)));
    m_time->setText(clockText(position) + QStringLiteral(" / ") + clockText(duration));
}

void MediaPreview::updateControls()
{
    const bool playing = m_player && m_player->playbackState() == QMediaPlayer::PlayingState;
    m_play->setIcon(QIcon::fromTheme(
        playing ? QStringLiteral("media-playback-pause") : QStringLiteral("media-playback-start"),
        style()->standardIcon(playing ? QStyle::SP_MediaPause : QStyle::SP_MediaPlay)));
    m_play->setToolTip(playing ? QStringLiteral("一時停止") : QStringLiteral("再生"));
    const bool ready = m_player && !m_file.empty() && !m_pending;
    m_play->setEnabled(ready);
    m_position->setEnabled(ready && m_player->isSeekable());
    const bool video = ready && m_player->hasVideo();
    if (m_video)
        m_video->setVisible(video);
    m_audioIcon->setVisible(!video && !m_file.empty());
}
