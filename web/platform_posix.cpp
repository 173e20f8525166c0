#include "platform.h"

#include <QProcess>

QString platform::systemCaFile(QString *)
{
    return QString();
}

void platform::prepareConsole() {}

bool platform::openInBrowser(const QString &url)
{
    return QProcess::startDetached(QStringLiteral("xdg-open"), {url});
}
