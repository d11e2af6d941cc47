#pragma once

#include <QLocale>
#include <clocale>
#include <cstring>
#include <langinfo.h>

// The interface is Japanese: kind names, dates and byte counts follow ja_JP
// whatever the system locale is. Character conversions in C libraries (archive
// entry names) need a UTF-8 LC_CTYPE, so a plain "C" locale is widened to C.UTF-8.
// Called once at start, before any other thread runs.
inline void installAppLocale()
{
    QLocale::setDefault(QLocale(QLocale::Japanese, QLocale::Japan));
    if (std::strcmp(nl_langinfo(CODESET), "UTF-8") != 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}
