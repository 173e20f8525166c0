#include "telemetryclient.h"
#include "telemetrymap.h"

#include <QProcess>
#include <QScopeGuard>
#include <QtTest>

#include <sys/mman.h>

// The link against the simulator stand-in, over real shared memory and the real event.
class tst_StandIn : public QObject
{
    Q_OBJECT
private slots:
    void rowsTextAndValuesOverSharedMemory();
};

void tst_StandIn::rowsTextAndValuesOverSharedMemory()
{
    TelemetryClient &client = TelemetryClient::shared();
    QProcess standIn;
    const auto tidy = qScopeGuard([&] {
        client.reset();
        standIn.kill();
        standIn.waitForFinished();
        shm_unlink("/IRSDKMemMapFileName");
        shm_unlink("/IRSDKDataValidEvent");
    });
    const auto lineStarting = [&](const char *start) {
        while (standIn.canReadLine() || standIn.waitForReadyRead(5000))
            if (standIn.readLine().startsWith(start))
                return true;
        return false;
    };
    // Waits, as the polls do, for a new row in which `holds` is true.
    const auto rowWhere = [&](auto holds) {
        for (int i = 0; i < 300; ++i)
            if (client.awaitRow(16) && holds())
                return true;
        return false;
    };
    standIn.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    standIn.start(QStringLiteral(KVB_SIMULATOR), QStringList()); // with its sample scenario
    QVERIFY(lineStarting("publishing") && TelemetryMap::attach());
    QVERIFY(!client.awaitRow(16)); // the first call against a running simulator sets the mark
    QVERIFY(rowWhere([] { return true; }) && TelemetryMap::isLive());
    char buffer[2048];
    QCOMPARE(client.sessionValue("SessionInfo:Sessions:SessionNum:{0}SessionType:", buffer, 2048), 1);
    QCOMPARE(QByteArray(buffer), QByteArray("Practice"));
    standIn.write("set FuelLevel 12.5\n");
    QVERIFY(lineStarting("set FuelLevel"));
    QVERIFY(rowWhere([&] { return client.readFloat(client.variableIndex("FuelLevel"), 0) == 12.5f; }));
    // The objects go with the stand-in once no reader maps them.
    client.reset();
    standIn.write("quit\n");
    QVERIFY(lineStarting("removed objects") && standIn.waitForFinished(5000) && !TelemetryMap::attach());
}

QTEST_GUILESS_MAIN(tst_StandIn)
#include "tst_standin.moc"
