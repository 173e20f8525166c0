#include "platform.h"

#include <QDir>
#include <QFile>
#include <QProcess>

#include <cstdio>

#include <sys/resource.h>

namespace {
void write(std::FILE *stream, const QString &text)
{
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, std::size_t(bytes.size()), stream);
    std::fflush(stream);
}
} // namespace

QString platform::systemCaFile(QString *)
{
    return QString();
}

void platform::writeOut(const QString &text)
{
    write(stdout, text);
}

void platform::writeError(const QString &text)
{
    write(stderr, text);
}

bool platform::openInBrowser(const QString &url)
{
    return QProcess::startDetached(QStringLiteral("xdg-open"), {url});
}

bool platform::kvBeaconRunning()
{
    const QStringList processes = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &pid : processes) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (pid.front().isDigit() && comm.open(QIODevice::ReadOnly) && comm.readAll() == "kvbeacon\n")
            return true;
    }
    return false;
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
