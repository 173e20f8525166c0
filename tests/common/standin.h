#pragma once

#include "programoutput.h"
#include "serverfixture.h"
#include "windowfixture.h"

#include <sys/mman.h>

// The simulator stand-in (KVB_SIMULATOR) playing a scenario, beside kvBeacon's settings for a
// server that starts by itself on a free port and a documents folder with the given app.ini.
// The simulator's objects have fixed names: one stand-in at a time, and none left behind.
struct StandIn : ProgramOutput
{
    StandIn(const QByteArray &scenarioText, const QByteArray &appIni)
    {
        unlinkObjects();
        if (!writeFile(scenario, scenarioText))
            qFatal("scenario not written");
        WindowFixture::startSettings({{"main/port", port},
                                      {"main/autostartserver", true},
                                      {"paths/iracingdocument", documentsFolder(documents, appIni)}});
    }
    ~StandIn()
    {
        if (process.state() != QProcess::NotRunning)
            quit();
        unlinkObjects();
    }
    // Starts it anew on the scenario, with `more` arguments, and waits for `ready`.
    bool play(const QStringList &more = {}, const QByteArray &ready = "publishing")
    {
        return start(QStringLiteral(KVB_SIMULATOR), QStringList{"--scenario", scenario} + more, ready);
    }
    static void unlinkObjects()
    {
        shm_unlink("/IRSDKMemMapFileName");
        shm_unlink("/IRSDKDataValidEvent");
    }

    QTemporaryDir dir, documents;
    const QString scenario = dir.filePath(QStringLiteral("race.scenario"));
    const quint16 port = freePort();
};
