#include "sessiondata.h"

#include <QtTest>

Q_DECLARE_METATYPE(SessionData)

class tst_SessionData : public QObject
{
    Q_OBJECT
private slots:
    void infoDocumentOfStartValues();
    void liveDocumentOfStartValues();
    void conversions_data();
    void conversions();
    void textEscapes();
    void copySharesText();
};

void tst_SessionData::infoDocumentOfStartValues()
{
    const QString expected = QStringLiteral("{\n"
                                            "    \"DI.DriverCarFuelKgPerLtr\": 0,\n"
                                            "    \"DI.DriverCarFuelMaxLtr\": 0,\n"
                                            "    \"DI.DriverCarMaxFuelPct\": 0,\n"
                                            "    \"SI.SessionLaps\": -1,\n"
                                            "    \"SI.SessionNum\": 1,\n"
                                            "    \"SI.SessionTime\": -1,\n"
                                            "    \"SI.SessionType\": \"n/a\",\n"
                                            "    \"WI.Trackname\": \"n/a\"\n"
                                            "}\n");
    QCOMPARE(SessionData::documentText(SessionData().InfoDocument()), expected);
}

void tst_SessionData::liveDocumentOfStartValues()
{
    const QString expected = QStringLiteral("{\n"
                                            "    \"AirDensity\": 0,\n"
                                            "    \"AirPressure\": 0,\n"
                                            "    \"AirTemp\": 0,\n"
                                            "    \"DisplayUnits\": 0,\n"
                                            "    \"FogLevel\": 0,\n"
                                            "    \"FuelLevel\": 0,\n"
                                            "    \"FuelLevelPct\": 0,\n"
                                            "    \"FuelUsePerHour\": 0,\n"
                                            "    \"IsOnTrack\": false,\n"
                                            "    \"IsReplayPlaying\": false,\n"
                                            "    \"PlayerCarClassPosition\": 0,\n"
                                            "    \"PlayerCarIdx\": 0,\n"
                                            "    \"PlayerCarPosition\": 0,\n"
                                            "    \"RaceLaps\": 0,\n"
                                            "    \"RelativeHumidity\": 0,\n"
                                            "    \"SessionFlags\": 0,\n"
                                            "    \"SessionLapsRemain\": 0,\n"
                                            "    \"SessionNum\": -1,\n"
                                            "    \"SessionTimeSinceStarted\": -1,\n"
                                            "    \"Skies\": 0,\n"
                                            "    \"TrackTempCrew\": 0,\n"
                                            "    \"WeatherType\": 0,\n"
                                            "    \"WindDir\": 0,\n"
                                            "    \"WindVel\": 0\n"
                                            "}\n");
    QCOMPARE(SessionData::documentText(SessionData().LiveDocument()), expected);
}

void tst_SessionData::conversions_data()
{
    QTest::addColumn<SessionData>("record");
    QTest::addColumn<QString>("member");

    SessionData r;
    r.SessionLaps = 32767;
    QTest::newRow("unlimited laps stay a number") << r << "\"SI.SessionLaps\": 32767,";
    r = SessionData();
    r.SessionFlags = qint32(0x80000000u);
    QTest::newRow("top flag bit gives a negative number") << r << "\"SessionFlags\": -2147483648,";
    r = SessionData();
    r.DisplayUnits = qint8(quint8(255));
    r.WeatherType = qint8(quint8(255));
    r.Skies = qint8(quint8(128));
    QTest::newRow("display units byte 255 widens with its sign") << r << "\"DisplayUnits\": -1,";
    QTest::newRow("weather type byte 255") << r << "\"WeatherType\": -1,";
    QTest::newRow("skies byte 128") << r << "\"Skies\": -128,";
    r = SessionData();
    r.FuelLevel = 0.1f;
    QTest::newRow("float shows its widened digits") << r << "\"FuelLevel\": 0.10000000149011612,";
    r = SessionData();
    r.AirTemp = 25.0f;
    QTest::newRow("whole float without a point") << r << "\"AirTemp\": 25,";
    r = SessionData();
    r.SessionTimeSinceStarted = 1234.5;
    r.IsOnTrack = true;
    QTest::newRow("double") << r << "\"SessionTimeSinceStarted\": 1234.5,";
    QTest::newRow("boolean") << r << "\"IsOnTrack\": true,";
    r = SessionData();
    r.SessionTime = 5400.0;
    r.DriverCarFuelMaxLtr = 110.5f;
    r.SessionType = QStringLiteral("Race");
    QTest::newRow("info time") << r << "\"SI.SessionTime\": 5400,";
    QTest::newRow("info fuel") << r << "\"DI.DriverCarFuelMaxLtr\": 110.5,";
    QTest::newRow("info type") << r << "\"SI.SessionType\": \"Race\",";
    r = SessionData();
    r.TrackName = QStringLiteral("Aut\u00F3dromo");
    QTest::newRow("non-ASCII as such, not escaped") << r << "\"WI.Trackname\": \"Aut\u00F3dromo\"";
}

void tst_SessionData::conversions()
{
    QFETCH(SessionData, record);
    QFETCH(QString, member);
    const QString text =
        SessionData::documentText(record.LiveDocument()) + SessionData::documentText(record.InfoDocument());
    QVERIFY2(text.contains(QStringLiteral("\n    ") + member + QLatin1Char('\n')), qPrintable(text));
}

void tst_SessionData::textEscapes()
{
    SessionData r;
    r.TrackName = QStringLiteral("a\"b\\c\nd");
    const QString text = SessionData::documentText(r.InfoDocument());
    QVERIFY2(text.contains(QStringLiteral("\"WI.Trackname\": \"a\\\"b\\\\c\\nd\"\n")), qPrintable(text));
}

void tst_SessionData::copySharesText()
{
    SessionData a;
    a.TrackName = QStringLiteral("Monza");
    a.SessionLaps = 12;
    const SessionData b = a;
    QCOMPARE(b.TrackName.constData(), a.TrackName.constData());
    QCOMPARE(b.SessionLaps, 12);
}

QTEST_APPLESS_MAIN(tst_SessionData)
#include "tst_sessiondata.moc"
