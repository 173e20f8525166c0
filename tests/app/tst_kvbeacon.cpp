#include "kvbeacon.h"
#include "kvserver.h"
#include "windowfixture.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QStatusBar>
#include <QTcpSocket>
#include <QToolBar>
#include <QToolButton>
#include <QtTest>

class tst_kvBeacon : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase();
    void init();

    void formTree();
    void firstStartDefaults();
    void autoStartAfterOneSecond();
    void portKeepsLow16Bits();
    void startStopAndClients();
    void restartMakesANewServer();
    void exitAndFrameStoreTheSame();
    void closingWithClientsConnected();

private:
    static QStringList logLines(kvBeacon &w)
    {
        return child<QPlainTextEdit>(&w, "plainTextEdit_debug")->toPlainText().split(QLatin1Char('\n'));
    }
    static QString clientLabel(kvBeacon &w)
    {
        return w.statusBar()->findChildren<QLabel *>().value(1)->text();
    }

    QScopedPointer<DocumentsFolder> documents;
};

void tst_kvBeacon::initTestCase()
{
    QStandardPaths::setTestModeEnabled(true);
}

// Every window here starts with a good documents folder, so that no message box holds it up.
void tst_kvBeacon::init()
{
    QFile::remove(iniPath());
    documents.reset(new DocumentsFolder);
    writeSetting(QStringLiteral("paths/iracingdocument"), documents->path());
}

void tst_kvBeacon::formTree()
{
    kvBeacon w;
    QCOMPARE(w.objectName(), QStringLiteral("kvBeaconClass"));
    QCOMPARE(w.windowTitle(), QStringLiteral("kvBeacon"));

    struct Cell
    {
        const char *name;
        const char *className;
        const char *layout;
        int row, column, rowSpan, columnSpan;
    };
    const Cell cells[] = {
        {"groupBox_paths", "QGroupBox", "gridLayout", 0, 1, 1, 2},
        {"groupBox_server", "QGroupBox", "gridLayout", 0, 3, 2, 3},
        {"pushButton_startServer", "QPushButton", "gridLayout", 1, 1, 1, 1},
        {"checkBox_startup_server", "QCheckBox", "gridLayout", 1, 2, 1, 1},
        {"groupBox", "QGroupBox", "gridLayout", 2, 1, 1, 5},
        {"plainTextEdit_debug", "QPlainTextEdit", "gridLayout", 3, 1, 1, 6},
        {"lineEdit_ir_PathDocuments", "QLineEdit", "gridLayout_3", 1, 0, 1, 1},
        {"toolButton_openFolder", "QToolButton", "gridLayout_3", 1, 1, 1, 1},
        {"comboBox_netinterfaces", "QComboBox", "gridLayout_2", 0, 1, 1, 1},
        {"lineEdit_ip", "QLineEdit", "gridLayout_2", 1, 1, 1, 1},
        {"lineEdit_port", "QLineEdit", "gridLayout_2", 2, 1, 1, 1},
        {"label_trackname", "QLabel", "gridLayout_4", 1, 4, 1, 1},
        {"label_laps", "QLabel", "gridLayout_4", 0, 4, 1, 1},
    };
    for (const Cell &cell : cells) {
        QWidget *widget = child<QWidget>(&w, cell.name);
        QVERIFY2(widget, cell.name);
        QCOMPARE(widget->metaObject()->className(), cell.className);
        auto *layout = child<QGridLayout>(&w, cell.layout);
        QVERIFY(layout);
        const int index = layout->indexOf(widget);
        QVERIFY2(index >= 0, cell.name);
        int row, column, rowSpan, columnSpan;
        layout->getItemPosition(index, &row, &column, &rowSpan, &columnSpan);
        QCOMPARE(QList<int>({row, column, rowSpan, columnSpan}),
                 QList<int>({cell.row, cell.column, cell.rowSpan, cell.columnSpan}));
        QCOMPARE(layout->spacing(), 6);
        QCOMPARE(layout->contentsMargins(), QMargins(11, 11, 11, 11));
    }

    QCOMPARE(child<QGroupBox>(&w, "groupBox_paths")->title(), QStringLiteral("Paths"));
    QCOMPARE(child<QGroupBox>(&w, "groupBox_paths")->sizePolicy().horizontalStretch(), 1);
    QCOMPARE(child<QGroupBox>(&w, "groupBox_server")->title(), QStringLiteral("Server"));
    QCOMPARE(child<QGroupBox>(&w, "groupBox")->title(), QStringLiteral("Session"));
    QCOMPARE(child<QLabel>(&w, "label_4")->text(), QStringLiteral("Path to iracing documents"));
    QCOMPARE(child<QLabel>(&w, "label_3")->text(), QStringLiteral("Network:"));
    QCOMPARE(child<QLabel>(&w, "label")->text(), QStringLiteral("IP:"));
    QCOMPARE(child<QLabel>(&w, "label_2")->text(), QStringLiteral("Port:"));
    QCOMPARE(child<QToolButton>(&w, "toolButton_openFolder")->text(), QStringLiteral("..."));
    QCOMPARE(child<QCheckBox>(&w, "checkBox_startup_server")->text(),
             QStringLiteral("Server starts at startup"));
    QCOMPARE(child<QPushButton>(&w, "pushButton_startServer")->sizePolicy().verticalPolicy(),
             QSizePolicy::Fixed);
    QCOMPARE(child<QLabel>(&w, "label_sessionTime")->text(), QStringLiteral("0"));
    QCOMPARE(child<QLabel>(&w, "label_laps")->text(), QStringLiteral("0/0"));
    QCOMPARE(child<QLabel>(&w, "label_sessionType")->text(), QStringLiteral("n/a"));
    QVERIFY(child<QLabel>(&w, "label_trackname")->wordWrap());
    QVERIFY(child<QPlainTextEdit>(&w, "plainTextEdit_debug")->isReadOnly());
    QVERIFY(!child<QLineEdit>(&w, "lineEdit_port")->isReadOnly());
    QVERIFY(!child<QComboBox>(&w, "comboBox_netinterfaces")->isEditable());

    QMenu *menu = child<QMenu>(&w, "menuKvBeacon");
    QCOMPARE(menu->title(), QStringLiteral("kvBeacon"));
    QCOMPARE(menu->actions().size(), 1);
    QCOMPARE(menu->actions().at(0)->objectName(), QStringLiteral("actionExit"));
    QCOMPARE(menu->actions().at(0)->text(), QStringLiteral("Exit"));
    QVERIFY(child<QToolBar>(&w, "mainToolBar"));

    // The status bar's three labels, left to right.
    QCOMPARE(w.statusBar()->objectName(), QStringLiteral("statusBar"));
    QCOMPARE(w.statusBar()->metaObject()->className(), "StatusBar");
    const QList<QLabel *> labels = w.statusBar()->findChildren<QLabel *>();
    QCOMPARE(labels.size(), 3);
    QCOMPARE(labels.at(0)->text(), QStringLiteral("iRacing not connected"));
    QCOMPARE(labels.at(1)->text(), QStringLiteral("client not connected"));
    QCOMPARE(labels.at(2)->text(), QStringLiteral("v1.01"));
    QCOMPARE(labels.at(0)->contentsMargins(), QMargins(10, 2, 10, 2));

    // Keyboard focus follows the order of creation.
    const char *focusOrder[] = {
        "toolButton_openFolder",  "lineEdit_ir_PathDocuments", "lineEdit_ip",           "lineEdit_port",
        "comboBox_netinterfaces", "checkBox_startup_server",   "pushButton_startServer"};
    for (size_t i = 0; i + 1 < std::size(focusOrder); ++i) {
        QWidget *from = child<QWidget>(&w, focusOrder[i]);
        QWidget *next = from->nextInFocusChain();
        while (next->focusPolicy() == Qt::NoFocus)
            next = next->nextInFocusChain();
        QCOMPARE(next->objectName(), QString::fromLatin1(focusOrder[i + 1]));
    }
}

void tst_kvBeacon::firstStartDefaults()
{
    kvBeacon w;
    QCOMPARE(child<QLineEdit>(&w, "lineEdit_port")->text(), QStringLiteral("47812"));
    QVERIFY(!child<QCheckBox>(&w, "checkBox_startup_server")->isChecked());
    QCOMPARE(w.size(), QSize(526, 373));
    QCOMPARE(child<QPushButton>(&w, "pushButton_startServer")->text(), QStringLiteral("Start Server"));
    QVERIFY(!w.findChild<kvServer *>());
}

void tst_kvBeacon::autoStartAfterOneSecond()
{
    writeSetting(QStringLiteral("main/autostartserver"), true);
    writeSetting(QStringLiteral("main/port"), 0);
    kvBeacon w;
    auto *button = child<QPushButton>(&w, "pushButton_startServer");
    QVERIFY(child<QCheckBox>(&w, "checkBox_startup_server")->isChecked());
    // Unticking the box does not stop this run's auto-start.
    child<QCheckBox>(&w, "checkBox_startup_server")->setChecked(false);
    QCOMPARE(button->text(), QStringLiteral("Start Server"));
    QTRY_COMPARE_WITH_TIMEOUT(button->text(), QStringLiteral("Stop Server"), 3000);
    QVERIFY(w.findChild<kvServer *>());
    QVERIFY(logLines(w).contains(QStringLiteral("(Server) - Listening to port 0")));
}

void tst_kvBeacon::portKeepsLow16Bits()
{
    writeSetting(QStringLiteral("main/port"), 70000);
    {
        kvBeacon w;
        QCOMPARE(child<QLineEdit>(&w, "lineEdit_port")->text(), QStringLiteral("4464"));
        child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("70001"));
        w.close();
    }
    QCOMPARE(QSettings(iniPath(), QSettings::IniFormat).value(QStringLiteral("main/port")).toInt(), 4465);

    kvBeacon w;
    child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("not a port"));
    w.close();
    QCOMPARE(QSettings(iniPath(), QSettings::IniFormat).value(QStringLiteral("main/port")).toInt(), 0);
}

void tst_kvBeacon::startStopAndClients()
{
    kvBeacon w;
    auto *button = child<QPushButton>(&w, "pushButton_startServer");
    child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("0"));
    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(button->text(), QStringLiteral("Stop Server"));
    QVERIFY(!child<QGroupBox>(&w, "groupBox_server")->isEnabled());
    QVERIFY(!child<QGroupBox>(&w, "groupBox_paths")->isEnabled());
    QVERIFY(button->isEnabled());
    kvServer *server = w.findChild<kvServer *>();
    QVERIFY(server && server->isListening());
    QCOMPARE(logLines(w).last(), QStringLiteral("(Server) - Listening to port 0"));

    QTcpSocket a, b;
    a.connectToHost(QHostAddress::LocalHost, server->serverPort());
    QTRY_COMPARE(clientLabel(w), QStringLiteral("1 client connected"));
    b.connectToHost(QHostAddress::LocalHost, server->serverPort());
    QTRY_COMPARE(clientLabel(w), QStringLiteral("2 clients connected"));
    QVERIFY(logLines(w).filter(QStringLiteral("(Server) - Connecting... ")).size() == 2);
    a.disconnectFromHost();
    QTRY_COMPARE(clientLabel(w), QStringLiteral("1 client connected"));
    QTRY_COMPARE(logLines(w).filter(QStringLiteral("(Server) - Client disconnected ID:")).size(), 1);

    QTest::mouseClick(button, Qt::LeftButton);
    QCOMPARE(button->text(), QStringLiteral("Start Server"));
    QVERIFY(child<QGroupBox>(&w, "groupBox_server")->isEnabled());
    QVERIFY(child<QGroupBox>(&w, "groupBox_paths")->isEnabled());
    QCOMPARE(clientLabel(w), QStringLiteral("client not connected"));
    QTRY_COMPARE(b.state(), QAbstractSocket::UnconnectedState);
    QTRY_VERIFY(!w.findChild<kvServer *>());
}

void tst_kvBeacon::restartMakesANewServer()
{
    kvBeacon w;
    auto *button = child<QPushButton>(&w, "pushButton_startServer");
    child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("0"));
    QTest::mouseClick(button, Qt::LeftButton);
    QPointer<kvServer> first = w.findChild<kvServer *>();
    QTest::mouseClick(button, Qt::LeftButton);
    QTRY_VERIFY(first.isNull());
    QTest::mouseClick(button, Qt::LeftButton);
    kvServer *second = w.findChild<kvServer *>();
    QVERIFY(second);

    QTcpSocket client;
    client.connectToHost(QHostAddress::LocalHost, second->serverPort());
    QTRY_VERIFY(logLines(w).filter(QStringLiteral("(Server) - Connecting... ")).size() >= 1);
    QTest::qWait(100);
    // One line for each message, not one per server ever made.
    QCOMPARE(logLines(w).filter(QStringLiteral("(Server) - Connecting... ")).size(), 1);
    QCOMPARE(logLines(w).filter(QStringLiteral("(Server) - Listening to port 0")).size(), 2);
}

void tst_kvBeacon::exitAndFrameStoreTheSame()
{
    auto fillAndClose = [](bool viaMenu) {
        kvBeacon w;
        w.show();
        child<QLineEdit>(&w, "lineEdit_ip")->setText(QStringLiteral("10.0.0.5"));
        child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("4100"));
        child<QCheckBox>(&w, "checkBox_startup_server")->setChecked(true);
        if (viaMenu)
            child<QAction>(&w, "actionExit")->trigger();
        else
            w.close();
        QVERIFY(!w.isVisible());
    };
    fillAndClose(true);
    QMap<QString, QVariant> viaMenu;
    {
        QSettings file(iniPath(), QSettings::IniFormat);
        for (const QString &key : file.allKeys())
            viaMenu.insert(key, file.value(key));
    }
    QCOMPARE(viaMenu.size(), 7);
    QCOMPARE(viaMenu.value(QStringLiteral("main/port")).toInt(), 4100);
    QCOMPARE(viaMenu.value(QStringLiteral("paths/iracingdocument")).toString(), documents->path());

    QFile::remove(iniPath());
    writeSetting(QStringLiteral("paths/iracingdocument"), documents->path());
    fillAndClose(false);
    QSettings file(iniPath(), QSettings::IniFormat);
    QCOMPARE(file.allKeys().size(), 7);
    for (const QString &key : viaMenu.keys())
        QCOMPARE(file.value(key), viaMenu.value(key));

    // The next start shows them again.
    kvBeacon w;
    // The typed address was stored, but a row of the Network list, if any, takes its place.
    QCOMPARE(storedSetting(QStringLiteral("main/ip")).toString(), QStringLiteral("10.0.0.5"));
    auto *combo = child<QComboBox>(&w, "comboBox_netinterfaces");
    const QString ip = combo->count() > 0 ? combo->currentText().section(QStringLiteral(" - "), 0, 0)
                                          : QStringLiteral("10.0.0.5");
    QCOMPARE(child<QLineEdit>(&w, "lineEdit_ip")->text(), ip);
    QCOMPARE(child<QLineEdit>(&w, "lineEdit_port")->text(), QStringLiteral("4100"));
    QCOMPARE(child<QLineEdit>(&w, "lineEdit_ir_PathDocuments")->text(), documents->path());
    QVERIFY(child<QCheckBox>(&w, "checkBox_startup_server")->isChecked());
}

void tst_kvBeacon::closingWithClientsConnected()
{
    QList<QTcpSocket *> clients;
    {
        kvBeacon w;
        child<QLineEdit>(&w, "lineEdit_port")->setText(QStringLiteral("0"));
        QTest::mouseClick(child<QPushButton>(&w, "pushButton_startServer"), Qt::LeftButton);
        const quint16 port = w.findChild<kvServer *>()->serverPort();
        for (int i = 0; i < 10; ++i) {
            auto *client = new QTcpSocket;
            client->connectToHost(QHostAddress::LocalHost, port);
            clients.append(client);
        }
        QTRY_COMPARE(clientLabel(w), QStringLiteral("10 clients connected"));
        for (QTcpSocket *client : clients)
            client->write("@000012;207;000001;;@000012;208;000002;;");
        w.close();
    }
    for (QTcpSocket *client : clients) {
        QTRY_COMPARE(client->state(), QAbstractSocket::UnconnectedState);
        delete client;
    }
}

QTEST_MAIN(tst_kvBeacon)
#include "tst_kvbeacon.moc"
