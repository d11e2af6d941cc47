// Helpers shared by the Trash tests.
#pragma once

#include "support/TempDir.h"

#include <QByteArray>
#include <QRegularExpression>
#include <cstring>
#include <functional>
#include <sched.h>
#include <string>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

namespace TrashTesting {

namespace fs = std::filesystem;

inline const std::string kUid = std::to_string(::getuid());

struct Cleanup {
    std::function<void()> run;
    ~Cleanup() { run(); }
};

inline fs::path homeTrash()
{
    return fs::path(qgetenv("XDG_DATA_HOME").toStdString()) / "Trash";
}

// The raw value of the Path key of an info file.
inline std::string pathKey(const fs::path& info)
{
    static const QRegularExpression line(QStringLiteral("^Path=(.*)$"),
                                         QRegularExpression::MultilineOption);
    const auto match = line.match(QString::fromStdString(readFile(info)));
    return match.hasMatch() ? match.captured(1).toStdString() : std::string("(none)");
}

inline std::string percentDecoded(const std::string& text)
{
    return QByteArray::fromPercentEncoding(QByteArray::fromStdString(text)).toStdString();
}

inline size_t entryCount(const fs::path& folder)
{
    std::error_code ec;
    size_t n = 0;
    for (auto it = fs::directory_iterator(folder, ec); !ec && it != fs::directory_iterator();
         it.increment(ec))
        ++n;
    return n;
}

inline mode_t modeOf(const fs::path& path)
{
    struct stat st {};
    ::lstat(path.c_str(), &st);
    return st.st_mode & 07777;
}

} // namespace TrashTesting
