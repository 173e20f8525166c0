#pragma once

#include <QString>

// What kvBeacon reads in the simulator's documents folder, where its app.ini with the chat
// macros lies. Plain functions on a path: the window checks the folder, connection threads
// read the texts.
namespace DocumentsFolder {
// True when `folder` holds a file app.ini.
bool holdsAppIni(const QString &folder);
// The chat macro texts of `folder`'s app.ini joined by Protocol::chatTextSeparator, or
// Protocol::noChatTexts.
QString chatTexts(const QString &folder);
} // namespace DocumentsFolder
