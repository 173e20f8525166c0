// The floor under kvBeacon's footprint: a Qt Widgets main window with a few labels and a log
// view, made as kvBeacon makes its own, and nothing else. Runs until it is ended.
#include <QApplication>
#include <QLabel>
#include <QMainWindow>
#include <QPlainTextEdit>
#include <QVBoxLayout>

#include <cstdlib>

int main(int argc, char *argv[])
{
    setenv("QT_XCB_GL_INTEGRATION", "none", 0); // as kvBeacon: no OpenGL driver loaded
    QApplication app(argc, argv);
    QMainWindow window;
    window.setWindowTitle(QStringLiteral("bare window"));
    auto *central = new QWidget(&window);
    auto *layout = new QVBoxLayout(central);
    for (const char *text : {"Status", "Session time", "Laps", "Session type", "Track"})
        layout->addWidget(new QLabel(QString::fromLatin1(text), central));
    auto *log = new QPlainTextEdit(central);
    log->setReadOnly(true);
    log->appendPlainText(QStringLiteral("started"));
    layout->addWidget(log);
    window.setCentralWidget(central);
    window.show();
    return app.exec();
}
