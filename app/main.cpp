#include "kvbeacon.h"

#include <QApplication>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    kvBeacon window(nullptr);
    window.show();
    return app.exec();
}
