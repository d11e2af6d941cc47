#pragma once

// Whether Qt's GStreamer media backend finds the GStreamer elements it builds its
// player from. Qt 6.4's backend crashes while creating a player without them (a
// system with GStreamer but without its base plugins), so a player is made only
// when this holds. True when GStreamer itself is missing: Qt then does not use it.
bool gstreamerPlaybackPresent();
