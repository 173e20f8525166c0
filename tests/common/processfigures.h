#pragma once

#include <QDir>
#include <QFile>

// What /proc says of a process (0: this one), to see that nothing is left behind and what a
// benchmark costs.
struct ProcessFigures
{
    int threads = 0;
    int descriptors = 0;
    long residentKb = 0;
    long peakResidentKb = 0;
    long anonymousKb = 0; // of the resident memory, what maps no file (heap, stacks, data)
    long cpuTicks = 0;    // user + system, in clock ticks

    static ProcessFigures of(int pid = 0)
    {
        const QString base = pid ? QStringLiteral("/proc/%1/").arg(pid) : QStringLiteral("/proc/self/");
        ProcessFigures figures;
        QFile status(base + QStringLiteral("status")), stat(base + QStringLiteral("stat"));
        if (status.open(QIODevice::ReadOnly))
            for (const QByteArray &line : status.readAll().split('\n')) {
                if (line.startsWith("Threads:"))
                    figures.threads = line.mid(8).trimmed().toInt();
                if (line.startsWith("VmHWM:"))
                    figures.peakResidentKb = line.mid(6).trimmed().split(' ').value(0).toLong();
                if (line.startsWith("VmRSS:"))
                    figures.residentKb = line.mid(6).trimmed().split(' ').value(0).toLong();
                if (line.startsWith("RssAnon:"))
                    figures.anonymousKb = line.mid(8).trimmed().split(' ').value(0).toLong();
            }
        // utime and stime are the 12th and 13th fields after the command's closing parenthesis.
        if (stat.open(QIODevice::ReadOnly)) {
            const QByteArray all = stat.readAll();
            const QList<QByteArray> fields = all.mid(all.lastIndexOf(')') + 2).split(' ');
            figures.cpuTicks = fields.value(11).toLong() + fields.value(12).toLong();
        }
        figures.descriptors =
            QDir(base + QStringLiteral("fd")).entryList(QDir::NoDotAndDotDot | QDir::AllEntries).size();
        return figures;
    }
    bool sameThreadsAndDescriptors(const ProcessFigures &o) const
    {
        return threads == o.threads && descriptors == o.descriptors;
    }
};
