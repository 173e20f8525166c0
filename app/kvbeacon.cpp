#include "kvbeacon.h"

#include "appsettings.h"
#include "documentsfolder.h"
#include "interfacelist.h"
#include "kvserver.h"
#include "platform.h"
#include "sessionpoll.h"
#include "simcommands.h"
#include "statusbar.h"
#include "telemetrymap.h"
#include "telemetrypoll.h"
#include "ui_kvbeacon.h"

#include <QCloseEvent>
#include <QDebug>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QUrl>

namespace {
const QString startText = QStringLiteral("Start Server");
const QString stopText = QStringLiteral("Stop Server");

void showAppIniMissing(QWidget *parent)
{
    QMessageBox::critical(parent, QStringLiteral("kV-Beacon"),
                          QStringLiteral("app.ini not found.\nPlease check path to iRacing Documents"),
                          QMessageBox::Ok, QMessageBox::NoButton);
}

QString clientText(int count)
{
    if (count <= 0)
        return QStringLiteral("client not connected");
    if (count == 1)
        return QStringLiteral("1 client connected");
    return QStringLiteral("%1 clients connected").arg(count);
}
} // namespace

kvBeacon::kvBeacon(QWidget *parent) : QMainWindow(parent), ui(new Ui::kvBeaconClass)
{
    ui->setupUi(this);
    ui->plainTextEdit_debug->setMaximumBlockCount(logLinesKept);
    InitWindow();

    connect(&timerSession, &QTimer::timeout, this, &kvBeacon::OnTimer);
    timerSession.start(1000);
    connect(&timerTelemetry, &QTimer::timeout, this, &kvBeacon::OnTimerIracingVariable);
    connect(ui->pushButton_startServer, &QPushButton::clicked, this, &kvBeacon::OnServerButton);
    connect(ui->toolButton_openFolder, &QToolButton::clicked, this,
            &kvBeacon::OnOpenFolderDlgIracingDocuments);
    connect(ui->comboBox_netinterfaces, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &kvBeacon::OnComboBoxChanged);

    restoreState(settings->windowState(), 0);
    restoreGeometry(settings->windowGeometry());
    ui->statusBar->setVersionText(QStringLiteral("v1.01"));
}

kvBeacon::~kvBeacon()
{
    // The connection threads borrow the settings: they end before the settings go.
    delete server;
    server = nullptr;
    delete settings;
    delete ui;
}

void kvBeacon::InitWindow()
{
    settings = new AppSettings(this);
    ui->lineEdit_ir_PathDocuments->setText(settings->iracingDocumentPath());
    ui->lineEdit_ip->setText(settings->ip());
    ui->lineEdit_port->setText(QStringLiteral("%1").arg(settings->port()));
    ui->checkBox_startup_server->setChecked(settings->autoStartServer());

    // A wrong folder is reported once; the user can mend it with the "..." button.
    const QString documents = settings->iracingDocumentPath();
    if (!DocumentsFolder::holdsAppIni(documents)) {
        showAppIniMissing(this);
    } else {
        QFile controls(documents + QStringLiteral("/controls.cfg"));
        if (controls.open(QIODevice::ReadOnly))
            qDebug() << controls.readAll();
        else
            qDebug() << controls.errorString();
    }

    InterfaceList::fill(ui->comboBox_netinterfaces, interfaceAddresses, ui->lineEdit_ip,
                        InterfaceList::rows(InterfaceList::fromNetwork(QNetworkInterface::allInterfaces())),
                        settings->netInterface());

    // The stored choice decides, not the check box.
    if (settings->autoStartServer())
        QTimer::singleShot(1000, this, &kvBeacon::OnServerButton);
}

void kvBeacon::OnTimer()
{
    const SessionPoll::Report report =
        SessionPoll::run(sessionData, simulatorFound, simulatorForeground, timerTelemetry.isActive());
    ui->statusBar->setStatusText(report.status);
    if (report.showLabels) {
        ui->label_sessionTime->setText(report.time);
        ui->label_sessionType->setText(report.type);
        ui->label_trackname->setText(report.track);
        ui->label_laps->setText(report.laps);
    }
    if (report.startTelemetry) {
        timerTelemetry.start(100);
        platform::windowOps().beginTimerPeriod();
    }
}

void kvBeacon::OnTimerIracingVariable()
{
    if (!TelemetryPoll::run(sessionData))
        return;
    if (server && server->clientConnected)
        server->publish(sessionData);
}

void kvBeacon::OnOpenFolderDlgIracingDocuments()
{
    const QUrl chosen = QFileDialog::getOpenFileUrl(
        this, QStringLiteral("Path to iracing documents"),
        QUrl(ui->lineEdit_ir_PathDocuments->text(), QUrl::TolerantMode), QStringLiteral("iRacing (app.ini)"),
        nullptr, QFileDialog::Options(), QStringList());
    // A cancel leaves field and setting as they were.
    if (chosen.isEmpty())
        return;
    ui->lineEdit_ir_PathDocuments->setText(QFileInfo(chosen.toLocalFile()).absoluteDir().absolutePath());
    if (!DocumentsFolder::holdsAppIni(ui->lineEdit_ir_PathDocuments->text()))
        showAppIniMissing(this);
    else
        settings->setIracingDocumentPath(ui->lineEdit_ir_PathDocuments->text());
}

void kvBeacon::OnComboBoxChanged(int index)
{
    InterfaceList::showAddressOfRow(interfaceAddresses, index, ui->lineEdit_ip);
}

void kvBeacon::OnServerButton()
{
    if (ui->pushButton_startServer->text() == startText) {
        if (!server) {
            server = new kvServer(settings, this);
            connect(server, &kvServer::sigDebugString, this, &kvBeacon::OnDebugString);
            connect(server, &kvServer::sigButtonChatClicked, this,
                    [this](int id) { SimCommands::chat(simulatorFound, id); });
            connect(server, &kvServer::sigKeyboardKey, this,
                    [this](int key) { SimCommands::key(simulatorForeground, key); });
            // A stopped server may still report its last threads; only the current one counts.
            connect(server, &kvServer::sigClientCountChanged, this, [this, reporting = server](int count) {
                if (reporting == server)
                    OnClientCountChanged(count);
            });
        }
        const uint port = ui->lineEdit_port->text().toUInt(nullptr, 10);
        server->StartServer(ui->lineEdit_ip->text(), quint16(port & 0xFFFF));
        ui->pushButton_startServer->setText(stopText);
        ui->groupBox_server->setEnabled(false);
        ui->groupBox_paths->setEnabled(false);
    } else {
        ui->pushButton_startServer->setText(startText);
        ui->groupBox_server->setEnabled(true);
        ui->groupBox_paths->setEnabled(true);
        if (server) {
            server->StopServer();
            server->deleteLater();
            server = nullptr;
        }
        OnClientCountChanged(0);
    }
}

void kvBeacon::OnDebugString(QString msg, int level)
{
    Q_UNUSED(level) // every level reads alike
    ui->plainTextEdit_debug->appendPlainText(logLine(msg));
}

QString kvBeacon::logLine(const QString &line)
{
    if (line.size() <= longestLogLine)
        return line;
    // Never half a character: a surrogate pair stays whole on the side left out.
    const int kept = line.at(longestLogLine - 1).isHighSurrogate() ? longestLogLine - 1 : longestLogLine;
    const int leftOut = QStringView(line).mid(kept).toUtf8().size();
    return line.left(kept) + QStringLiteral(" … (%1 bytes left out)").arg(leftOut);
}

void kvBeacon::OnClientCountChanged(int count)
{
    ui->statusBar->setClientText(clientText(count));
}

void kvBeacon::closeEvent(QCloseEvent *event)
{
    TelemetryMap::detach();
    platform::windowOps().endTimerPeriod();
    settings->setIracingDocumentPath(ui->lineEdit_ir_PathDocuments->text());
    settings->setIp(ui->lineEdit_ip->text());
    settings->setNetInterface(ui->comboBox_netinterfaces->currentText());
    settings->setPort(quint16(ui->lineEdit_port->text().toInt(nullptr, 10) & 0xFFFF));
    settings->setAutoStartServer(ui->checkBox_startup_server->isChecked());
    settings->setWindowState(saveState(0));
    settings->setWindowGeometry(saveGeometry());
    event->accept();
}
