#pragma once

#include <QEventLoop>
#include <QTimer>

// Waits `ms` while the events go on (a reply arriving, Ctrl-C noted); nothing for 0 or less.
inline void pauseFor(qint64 ms)
{
    if (ms <= 0)
        return;
    QEventLoop loop;
    QTimer::singleShot(int(ms), &loop, &QEventLoop::quit);
    loop.exec();
}
