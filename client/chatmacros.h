#pragma once

#include <QString>
#include <QStringList>

// The driver's chat macro texts as kvBeacon's reply gives them, read once. kvBeacon joins the
// fifteen texts with "|" unescaped, so a reply that does not split into fifteen cannot say which
// text is which: a button made from it could run the wrong macro in the driver's name.
struct ChatMacros
{
    enum Status {
        Listed,    // fifteen texts, the first for macro 1
        NoAppIni,  // kvBeacon finds no app.ini in the simulator's documents folder
        Ambiguous, // a text holds a "|": `texts` holds the pieces, which belong to no number
    };
    Status status = NoAppIni;
    QStringList texts;

    static ChatMacros fromReply(const QString &payload);
};
