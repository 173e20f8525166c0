#pragma once

#include <QStatusBar>

class QLabel;

// The window's status bar: the simulator's state, the clients' state and the version.
class StatusBar : public QStatusBar
{
    Q_OBJECT
public:
    explicit StatusBar(QWidget *parent);

    void setStatusText(const QString &text);
    void setClientText(const QString &text);
    void setVersionText(const QString &text);

private:
    QLabel *statusLabel;
    QLabel *clientLabel;
    QLabel *versionLabel;
};
