#pragma once

#include "sessiondata.h"

#include <QMainWindow>
#include <QStringList>
#include <QTimer>

namespace Ui {
class kvBeaconClass;
}
class AppSettings;
class kvServer;

// The main window and the program's hub: the form, the settings, the two polling timers,
// the working session record and the server, made anew at each start. Main thread only.
class kvBeacon : public QMainWindow
{
    Q_OBJECT
public:
    explicit kvBeacon(QWidget *parent = nullptr);
    ~kvBeacon() override;

private slots:
    void OnTimer();
    void OnTimerIracingVariable();
    void OnOpenFolderDlgIracingDocuments();
    void OnComboBoxChanged(int index);
    void OnServerButton();
    void OnDebugString(QString msg, int level);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void InitWindow();
    void OnClientCountChanged(int count);

    Ui::kvBeaconClass *ui;
    bool simulatorFound = false;
    bool simulatorForeground = false;
    AppSettings *settings = nullptr;
    QTimer timerSession;
    QTimer timerTelemetry;
    QStringList interfaceAddresses;
    kvServer *server = nullptr;
    SessionData sessionData;
};
