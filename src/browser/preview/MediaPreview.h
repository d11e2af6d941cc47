#pragma once

#include "browser/preview/FileViewer.h"

#include <QMediaPlayer>
#include <QTimer>
#include <filesystem>

class QAudioOutput;
class QLabel;
class QSlider;
class QToolButton;
class QVBoxLayout;
class QVideoWidget;

// Audio or video: play/pause, a position slider and the current time. Nothing plays
// until the user asks.
class MediaPreview : public FileViewer {
    Q_OBJECT
public:
    explicit MediaPreview(QWidget* parent = nullptr);
    ~MediaPreview() override;

    void load(const std::filesystem::path& file) override;
    void clear() override;
    void setZoom(double factor) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool ensurePlayer();
    void togglePlayback();
    void statusChanged(QMediaPlayer::MediaStatus status);
    void announce();
    void fail();
    void updatePosition();
    void updateControls();

    // Made with the first file played; none while no backend can play.
    QMediaPlayer* m_player = nullptr;
    QAudioOutput* m_audio = nullptr;
    QVideoWidget* m_video = nullptr;
    QLabel* m_audioIcon = nullptr;
    QToolButton* m_play = nullptr;
    QSlider* m_position = nullptr;
    QLabel* m_time = nullptr;
    QVBoxLayout* m_layout = nullptr;
    QTimer m_watchdog;
    std::filesystem::path m_file;
    bool m_pending = false; // shown() or failed() still owed for m_file
};
