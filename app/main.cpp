#include "kvbeacon.h"
#include "platform.h"
#include "serverplatform.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    platform::prepareDesktop();
    serverplatform::prepareProcess();
    QApplication app(argc, argv);
    kvBeacon window(nullptr);
    window.show();
    return app.exec();
}
