#include "statusbar.h"

#include <QLabel>

StatusBar::StatusBar(QWidget *parent)
    : QStatusBar(parent), statusLabel(new QLabel(QStringLiteral("iRacing not connected"), this)),
      clientLabel(new QLabel(QStringLiteral("client not connected"), this)), versionLabel(new QLabel(this))
{
    for (QLabel *label : {statusLabel, clientLabel, versionLabel})
        label->setContentsMargins(10, 2, 10, 2);
    addWidget(statusLabel, 1);
    addWidget(clientLabel, 1);
    addWidget(versionLabel, 0);
}

void StatusBar::setStatusText(const QString &text)
{
    statusLabel->setText(text);
}

void StatusBar::setClientText(const QString &text)
{
    clientLabel->setText(text);
}

void StatusBar::setVersionText(const QString &text)
{
    versionLabel->setText(text);
}
