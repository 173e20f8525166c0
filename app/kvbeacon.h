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

    // A client's text reaches the log whole (a client's name), and laying out a line of a
    // megabyte held this thread for a minute and more: a longer line is shown cut, and the
    // oldest lines leave a full log.
    static constexpr int longestLogLine = 1000;
    static constexpr int logLinesKept = 20000;
    // `line` as the log view shows it: at most `longestLogLine` characters, then the number of
    // bytes (UTF-8) left out.
    static QString logLine(const QString &line);

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
