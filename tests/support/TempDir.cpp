#include "support/TempDir.h"

#include "core/AppDefaults.h"
#include "core/SettingsFormat.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>
#include <atomic>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

TempDir::TempDir()
{
    std::string pattern = (fs::temp_directory_path() / "quillo-test-XXXXXX").string();
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
}

TempDir::~TempDir()
{
    // Undo any permission games so that removal cannot fail.
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(
             m_path, fs::directory_options::skip_permission_denied, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec))
            ::chmod(it->path().c_str(), 0755);
    }
    ::chmod(m_path.c_str(), 0755);
    fs::remove_all(m_path, ec);
}

fs::path TempDir::file(std::string_view relative, std::string_view contents) const
{
    const fs::path p = m_path / std::string(relative);
    fs::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary);
    out.write(contents.data(), std::streamsize(contents.size()));
    return p;
}

fs::path TempDir::folder(std::string_view relative) const
{
    const fs::path p = m_path / std::string(relative);
    fs::create_directories(p);
    return p;
}

fs::path TempDir::link(std::string_view relative, std::string_view target) const
{
    const fs::path p = m_path / std::string(relative);
    fs::create_directories(p.parent_path());
    fs::create_symlink(fs::path(std::string(target)), p);
    return p;
}

ScratchSettings::ScratchSettings()
    : m_oldConfig(qgetenv("XDG_CONFIG_HOME"))
{
    qputenv("XDG_CONFIG_HOME", QByteArray::fromStdString(m_config.path().string()));
    qunsetenv("QUILLO_DEFAULTS_SUITE");
    AppDefaults::resetForTesting();
}

ScratchSettings::~ScratchSettings()
{
    qunsetenv("QUILLO_DEFAULTS_SUITE");
    qputenv("XDG_CONFIG_HOME", m_oldConfig);
    AppDefaults::resetForTesting();
}

fs::path ScratchSettings::file(const std::string& suite) const
{
    return m_config.path() / "Quillo" / (suite + ".conf");
}

void setModificationTime(const fs::path& path, int64_t seconds)
{
    timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

std::string readFile(const fs::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

namespace {
std::atomic<int> g_settingsWrites, g_settingsWritesOnMainThread;
} // namespace

SettingsWrites::SettingsWrites()
{
    g_settingsWrites = g_settingsWritesOnMainThread = 0;
    SettingsFormat::writeObserver = [] {
        ++g_settingsWrites;
        if (QThread::currentThread() == QCoreApplication::instance()->thread())
            ++g_settingsWritesOnMainThread;
    };
}

SettingsWrites::~SettingsWrites()
{
    SettingsFormat::writeObserver = nullptr;
}

int SettingsWrites::total() const
{
    return g_settingsWrites;
}

int SettingsWrites::onMainThread() const
{
    return g_settingsWritesOnMainThread;
}

std::map<std::string, std::string> filesWithContents(const std::filesystem::path& folder)
{
    std::map<std::string, std::string> out;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        out[entry.path().filename().native()] = readFile(entry.path());
    return out;
}

std::string waitForFile(const fs::path& file)
{
    EXPECT_TRUE(
        QTest::qWaitFor([&] { return fs::exists(file) && fs::file_size(file) > 0; }, 10'000));
    QTest::qWait(50); // the writer may still be mid-write
    return readFile(file);
}

ScopedVariable::ScopedVariable(const char* name, const QByteArray& value)
    : m_name(name)
    , m_old(qgetenv(name))
    , m_had(qEnvironmentVariableIsSet(name))
{
    qputenv(name, value);
}

ScopedVariable::~ScopedVariable()
{
    if (m_had)
        qputenv(m_name, m_old);
    else
        qunsetenv(m_name);
}
