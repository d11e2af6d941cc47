#pragma once

#include <QSettings>
#include <atomic>

// Our settings files: INI text as Qt writes it, read strictly and written durably.
// A file with lines that cannot be read keeps what can be read, and a copy of it is
// set aside as "<file>.corrupt-<time>" before anything writes over it. Every write
// goes to a temporary file that is synced and renamed over, and the folder synced.
namespace SettingsFormat {

// Registered with QSettings on first use; any thread.
QSettings::Format format();

// Called on the writing thread before each write, so that a test can see which
// thread writes.
inline std::atomic<void (*)()> writeObserver{};

} // namespace SettingsFormat
