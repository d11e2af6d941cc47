#pragma once

#include <cstdint>
#include <string>

// Names one run of one process: a process id alone is reused, so the start time
// (clock ticks since boot) and the boot id go with it.
struct ProcessStamp {
    int pid = 0;
    uint64_t startTicks = 0;
    std::string bootId;

    static ProcessStamp current();
    // "PID-START-BOOT", usable as a file name; parse() reads it back (nullopt-like:
    // a stamp with pid 0 when the text is not one).
    std::string text() const;
    static ProcessStamp parse(const std::string& text);
    // True while this very run is alive (a zombie is not).
    bool isRunning() const;

    bool operator==(const ProcessStamp&) const = default;
};
