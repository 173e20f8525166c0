#pragma once

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <string>

// What tests of every room use, with no library of kvBeacon's behind it.

// Writes `text` as the whole of the file at `path`.
inline bool writeFile(const QString &path, const QByteArray &text)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

// Writes the app.ini of a documents folder, and gives the folder.
inline QString documentsFolder(const QTemporaryDir &dir, const QByteArray &appIni)
{
    if (!writeFile(dir.filePath(QStringLiteral("app.ini")), appIni))
        qFatal("app.ini not written");
    return dir.path();
}

// The object a JSON text holds, empty when it holds none; const, for its [] to read.
inline const QJsonObject json(const QByteArray &text)
{
    return QJsonDocument::fromJson(text).object();
}
inline const QJsonObject json(const char *text)
{
    return json(QByteArray(text));
}
inline const QJsonObject json(const std::string &text)
{
    return json(QByteArray::fromStdString(text));
}
