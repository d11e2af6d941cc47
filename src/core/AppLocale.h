#pragma once

#include <QLocale>

// The interface is Japanese: kind names, dates and byte counts follow ja_JP
// whatever the system locale is.
inline void installAppLocale()
{
    QLocale::setDefault(QLocale(QLocale::Japanese, QLocale::Japan));
}
