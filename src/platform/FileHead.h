#pragma once

#include "platform/Error.h"

#include <QByteArray>
#include <filesystem>

// The first bytes of a file, read without ever waiting on a FIFO or a device: only
// regular files are read.
struct FileHead {
    bool regular = false;   // false: not read (a folder, FIFO, socket or device)
    QByteArray bytes;       // at most the limit asked for
    bool truncated = false; // the file goes on after `bytes`

    static Result<FileHead> read(const std::filesystem::path& file, qsizetype limit);
};
