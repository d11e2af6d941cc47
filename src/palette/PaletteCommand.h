#pragma once

#include <QAction>
#include <QPointer>
#include <QString>
#include <QStringList>

// One command of the main menu as the palette offers it.
struct PaletteCommand {
    QString title;    // without "…"
    QString menuPath; // "表示 › 並び順"
    QString action;   // the command identifier, "newFolder:"
    QString shortcut; // the platform's text ("Ctrl+Shift+K"); empty without one
    // The romaji of the title, then the English name when there is one.
    QStringList searchAliases;
    // The live menu item that runs it; gone when its window is.
    QPointer<QAction> item;

    bool operator==(const PaletteCommand& other) const
    {
        return title == other.title && menuPath == other.menuPath && action == other.action &&
               item == other.item;
    }
};
