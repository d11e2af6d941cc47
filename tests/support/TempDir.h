#pragma once

#include <QByteArray>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

// A scratch folder, removed with everything in it when the test ends.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return m_path; }
    std::filesystem::path operator/(std::string_view name) const
    {
        return m_path / std::string(name);
    }

    // Makes a file with the given raw name bytes (relative path) and contents.
    std::filesystem::path file(std::string_view relative, std::string_view contents = {}) const;
    std::filesystem::path folder(std::string_view relative) const;
    std::filesystem::path link(std::string_view relative, std::string_view target) const;

private:
    std::filesystem::path m_path;
};

// Settings stores in a scratch config folder with no suite chosen, for as long as it lives.
class ScratchSettings {
public:
    ScratchSettings();
    ~ScratchSettings();
    std::filesystem::path file(const std::string& suite) const;

private:
    TempDir m_config;
    QByteArray m_oldConfig;
};

// Counts the settings writes made while it lives, and those made on the main thread.
class SettingsWrites {
public:
    SettingsWrites();
    ~SettingsWrites();
    int total() const;
    int onMainThread() const;
};

// Sets the modification time of a path (not following links), in seconds.
void setModificationTime(const std::filesystem::path& path, int64_t seconds);
std::string readFile(const std::filesystem::path& path);
// The files directly in a folder: name bytes → contents.
std::map<std::string, std::string> filesWithContents(const std::filesystem::path& folder);

// Waits (up to ten seconds) until another process has written `file`, then reads it.
std::string waitForFile(const std::filesystem::path& file);

// Sets an environment variable for as long as it lives, then puts back what was there.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const QByteArray& value);
    ~ScopedVariable();
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* m_name;
    QByteArray m_old;
    bool m_had;
};
