#include "fakewindows.h"
#include "kvbeacon.h"
#include "processfigures.h"
#include "serverfixture.h"
#include "windowfixture.h"

using namespace WindowFixture;

namespace {
// Clients on threads of their own that read both documents in a loop until told to stop,
// counting answers, wrong answers and connections that the server closed.
struct ReadingClients
{
    ReadingClients(quint16 port, int count)
        : threads(count, [this, port](int c) {
              BeaconClient client;
              bool open = client.connectTo(loopback, port);
              for (int id = c * 100000; open && !stop; ++id) {
                  const int command = id % 2 ? Protocol::Live : Protocol::Info;
                  const QByteArray reply =
                      client.write(request(command, id % 1000000)) ? nextFrame(client, 12000) : QByteArray();
                  if ((open = !reply.isEmpty()))
                      ++(WireMessage(reply).command == command && reply.endsWith("}\n;") ? answers : wrong);
              }
              closed += !open;
          })
    {
    }
    ~ReadingClients() { finish(); }
    void finish() { stop = true, threads.join(); }

    std::atomic<bool> stop{false};
    std::atomic<int> answers{0}, wrong{0}, closed{0};
    ClientThreads threads; // last: its threads read the counts above
};

// The server that listens now: a stopped one may still wait for its deferred deletion.
kvServer *listeningServer(QObject *window)
{
    for (kvServer *server : window->findChildren<kvServer *>())
        if (server->isListening())
            return server;
    return nullptr;
}
} // namespace

// The whole program: the user stops the server and closes the window while clients read, and
// picks the wrong folder.
class tst_SystemFaults : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase()
    {
        quietDebugLines();
        windows.simulatorWindow = false;
        documentsFolder(documents, "[Autochat Messages]\nAutoChatStr1=hi\n");
        baseline = ProcessFigures::of();
    }
    void init() { startSettings({{"main/port", 0}, {"paths/iracingdocument", documents.path()}}); }
    void stopAndCloseWithFiftyClientsReading()
    {
        std::unique_ptr<ReadingClients> stillReading;
        {
            kvBeacon w;
            auto *button = child<QPushButton>(&w, "pushButton_startServer");
            QGroupBox *boxes[] = {child<QGroupBox>(&w, "groupBox_server"),
                                  child<QGroupBox>(&w, "groupBox_paths")};
            QTest::mouseClick(button, Qt::LeftButton);
            QCOMPARE(button->text(), QStringLiteral("Stop Server"));
            QVERIFY(!boxes[0]->isEnabled() && !boxes[1]->isEnabled());
            {
                const quint16 port = listeningServer(&w)->serverPort();
                ReadingClients clients(port, 49);
                BeaconClient staller; // the rest of its body never comes
                QVERIFY(staller.connectTo(loopback, port) && staller.write("@000050;202;0000"));
                QTRY_COMPARE_WITH_TIMEOUT(statusText(&w, 1), QStringLiteral("50 clients connected"), 10000);
                QTRY_VERIFY_WITH_TIMEOUT(clients.answers > 500, 10000);
                const QDeadlineTimer limit(5000);
                QTest::mouseClick(button, Qt::LeftButton); // stop while they read
                // A body may be waited for ten seconds; a stop cuts that short.
                QVERIFY(!limit.hasExpired());
                QCOMPARE(button->text(), QStringLiteral("Start Server"));
                QVERIFY(boxes[0]->isEnabled() && boxes[1]->isEnabled());
                QCOMPARE(statusText(&w, 1), QStringLiteral("client not connected"));
                // Every connection is closed: each client sees its server go.
                QTRY_COMPARE_WITH_TIMEOUT(clients.closed.load(), 49, 15000);
                QVERIFY(staller.waitForClosed(1000));
                clients.finish();
                QCOMPARE(clients.wrong.load(), 0);
            }
            QTest::mouseClick(button, Qt::LeftButton);
            stillReading.reset(new ReadingClients(listeningServer(&w)->serverPort(), 50));
            // One log line for each event, not one per server ever made.
            const auto log = [&] { return child<QPlainTextEdit>(&w, "plainTextEdit_debug")->toPlainText(); };
            QTRY_VERIFY_WITH_TIMEOUT(
                stillReading->answers > 500 && log().count(QStringLiteral("Connecting... ")) >= 100, 10000);
            QCOMPARE(log().count(QStringLiteral("(Server) - Listening to port 0\n")), 2);
            QCOMPARE(log().count(QStringLiteral("(Server) - Connecting... ")), 100);
            w.close();
        } // the window goes with the clients still reading
        QTRY_COMPARE_WITH_TIMEOUT(stillReading->closed.load(), 50, 15000);
        stillReading.reset();
        QTRY_VERIFY_WITH_TIMEOUT(ProcessFigures::of().sameThreadsAndDescriptors(baseline), 10000);
    }
    // A client's name of a megabyte is one log line: shown cut, at once rather than after a
    // minute of layout on the window's thread; and a full log drops its oldest lines.
    void hugeLogLineAndAFullLog()
    {
        kvBeacon w;
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        auto *log = child<QPlainTextEdit>(&w, "plainTextEdit_debug");
        const QString line = QStringLiteral("(Server) - Client Name: ") + QString(499000, QChar(0xE9));
        QElapsedTimer clock;
        clock.start();
        QMetaObject::invokeMethod(&w, "OnDebugString", Q_ARG(QString, line), Q_ARG(int, 1));
        log->viewport()->repaint(); // laid out as it is drawn
        QVERIFY2(clock.elapsed() < 1000, qPrintable(QString::number(clock.elapsed())));
        QCOMPARE(
            log->document()->lastBlock().text(),
            line.left(kvBeacon::longestLogLine) +
                QStringLiteral(" … (%1 bytes left out)").arg((line.size() - kvBeacon::longestLogLine) * 2));
        for (int i = 0; i <= kvBeacon::logLinesKept; ++i)
            QMetaObject::invokeMethod(&w, "OnDebugString", Q_ARG(QString, QString::number(i)), Q_ARG(int, 0));
        QCOMPARE(log->blockCount(), kvBeacon::logLinesKept);
        QCOMPARE(log->document()->firstBlock().text(), QStringLiteral("1"));
    }
    // Last, since the file dialog leaves threads behind.
    void wrongFolderAndTheUsersChoices()
    {
        QTemporaryDir wrong, good;
        documentsFolder(good, "[Autochat Messages]\n");
        QVERIFY(writeFile(wrong.filePath(QStringLiteral("other.ini")), ""));
        startSettings({{"paths/iracingdocument", wrong.path()}});
        QStringList seen; // what each dialog showed
        QString answer;   // the file to choose; empty: cancel
        QTimer modals;    // answers each modal widget as it opens: one left open would hang the test
        connect(&modals, &QTimer::timeout, [&] {
            QWidget *modal = QApplication::activeModalWidget();
            if (auto *box = qobject_cast<QMessageBox *>(modal)) {
                seen << box->windowTitle() + ": " + box->text() +
                            (box->icon() == QMessageBox::Critical ? " (!)" : "") +
                            QString::number(box->buttons().size());
                box->button(QMessageBox::Ok)->click();
            } else if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
                seen << dialog->windowTitle() + ": " + dialog->nameFilters().join(QLatin1Char(','));
                if (answer.isEmpty())
                    return dialog->reject();
                child<QLineEdit>(dialog, "fileNameEdit")->setText(answer); // typed, as a user would
                QMetaObject::invokeMethod(dialog, "accept");
            }
        });
        modals.start(20);
        const QString box =
            QStringLiteral("kV-Beacon: app.ini not found.\nPlease check path to iRacing Documents (!)1");
        const QString dialog = QStringLiteral("Path to iracing documents: iRacing (app.ini)");
        auto stored = [] {
            return QSettings(iniPath(), QSettings::IniFormat).value("paths/iracingdocument").toString();
        };

        kvBeacon w;
        QCOMPARE(seen, QStringList(box));
        // The window comes up all the same, with the stored path and the defaults.
        auto *path = child<QLineEdit>(&w, "lineEdit_ir_PathDocuments");
        QCOMPARE(path->text(), wrong.path());
        QVERIFY(!child<QCheckBox>(&w, "checkBox_startup_server")->isChecked());
        QCOMPARE(QStringList({statusText(&w, 0), statusText(&w, 1), statusText(&w, 2)}),
                 QStringList({"iRacing not connected", "client not connected", "v1.01"}));

        auto choose = [&](const QString &file) {
            seen.clear();
            answer = file;
            QTest::mouseClick(child<QToolButton>(&w, "toolButton_openFolder"), Qt::LeftButton);
        };
        choose(QString()); // a cancel changes nothing
        QCOMPARE(seen, QStringList(dialog));
        QCOMPARE(path->text(), wrong.path());
        choose(wrong.filePath(QStringLiteral("other.ini"))); // shown and reported, not stored
        QCOMPARE(seen, QStringList({dialog, box}));
        QCOMPARE(path->text(), QDir(wrong.path()).absolutePath());
        QCOMPARE(stored(), wrong.path());
        choose(good.filePath(QStringLiteral("app.ini"))); // its folder is taken and stored at once
        QCOMPARE(seen, QStringList(dialog));
        QCOMPARE(path->text(), QDir(good.path()).absolutePath());
        QCOMPARE(stored(), path->text());

        // Closing stores what the fields say; a port keeps its low 16 bits.
        child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("70001"));
        child<QCheckBox>(&w, "checkBox_startup_server")->setChecked(true);
        w.close();
        const QSettings file(iniPath(), QSettings::IniFormat);
        QCOMPARE(file.allKeys(),
                 QStringList({"main/autostartserver", "main/ip", "main/netinterface", "main/port",
                              "main/windowgeometry", "main/windowstate", "paths/iracingdocument"}));
        QCOMPARE(file.value("main/port").toInt(), 4465);
        QCOMPARE(file.value("main/autostartserver").toBool(), true);
    }

private:
    QTemporaryDir documents;
    ProcessFigures baseline;
    FakeWindows windows;
};

QTEST_MAIN(tst_SystemFaults)
#include "tst_systemfaults.moc"
