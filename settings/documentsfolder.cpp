#include "documentsfolder.h"

#include "protocol.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QTemporaryFile>

bool DocumentsFolder::holdsAppIni(const QString &folder)
{
    return QFileInfo(folder + QStringLiteral("/app.ini")).isFile();
}

QString DocumentsFolder::chatTexts(const QString &folder)
{
    const QString path = folder + QStringLiteral("/app.ini");
    const QFileInfo info(path);
    if (!info.exists() || !info.isFile() || !info.isReadable())
        return QLatin1String(Protocol::noChatTexts);

    // QSettings keeps parsed files in a process-wide cache that it trusts while size and
    // time stamp look unchanged, and file times are coarse: an edit right after a request
    // could be missed. A private copy under a fresh name is always read anew.
    QFile original(path);
    if (!original.open(QIODevice::ReadOnly))
        return QLatin1String(Protocol::noChatTexts);
    const QByteArray bytes = original.readAll();
    QTemporaryFile copy(QDir::tempPath() + QStringLiteral("/kvbeacon-app-XXXXXX.ini"));
    // Without a writable temporary folder the file itself is read: the cache may then be a
    // step behind, which is better than no texts at all. The copy goes with this call.
    const bool copied = copy.open() && copy.write(bytes) == bytes.size() && copy.flush();

    QString reply;
    {
        QSettings ini(copied ? copy.fileName() : path, QSettings::IniFormat);
        for (int n = 1; n <= Protocol::chatMacroCount; ++n) {
            const QVariant value = ini.value(QStringLiteral("Autochat Messages/AutoChatStr%1").arg(n));
            // An unquoted comma makes QSettings hand the value over as a list.
            const QString text = value.type() == QVariant::StringList
                                     ? value.toStringList().join(QLatin1Char(','))
                                     : value.toString();
            qDebug() << text;
            reply += text + QLatin1Char(Protocol::chatTextSeparator);
        }
    }
    reply.chop(1);
    qDebug() << reply;
    return reply;
}
