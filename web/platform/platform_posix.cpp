#include "platform.h"

#include <QFile>
#include <QProcess>

#include <sys/resource.h>

QString platform::systemCaFile(QString *)
{
    return QString();
}

void platform::prepareConsole() {}

bool platform::openInBrowser(const QString &url)
{
    return QProcess::startDetached(QStringLiteral("xdg-open"), {url});
}

long platform::raiseFileLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 0;
    if (limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
        getrlimit(RLIMIT_NOFILE, &limit);
    }
    return limit.rlim_cur == RLIM_INFINITY ? -1 : long(limit.rlim_cur);
}

bool platform::othersMayRead(const QString &path)
{
    return QFile::permissions(path) & (QFileDevice::ReadGroup | QFileDevice::ReadOther);
}
