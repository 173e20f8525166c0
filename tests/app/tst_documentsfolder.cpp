#include "kvbeacon.h"
#include "windowfixture.h"

#include <QLineEdit>
#include <QToolButton>

class tst_DocumentsFolder : public QObject
{
    Q_OBJECT
private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { QFile::remove(iniPath()); }

    void startupCheck_data();
    void startupCheck();
    void controlsCfgGoesToTheDebugOutput();
    void goodChoiceIsStoredAndPassesNextStart();
    void rejectedChoiceKeepsTheSetting();
    void cancelChangesNothing();

private:
    // Starts the window; `box` receives the start-up message box if one comes.
    static kvBeacon *startWindow(SeenBox &box)
    {
        ModalWatcher watcher([&box](QWidget *modal) { box.take(modal); });
        return new kvBeacon;
    }
    // Clicks "..." and answers the file dialog with `file`, or cancels it when empty.
    static void chooseFile(kvBeacon &w, const QString &file, SeenBox &box, QString *dialogCaption = nullptr,
                           QStringList *filters = nullptr)
    {
        ModalWatcher watcher([&](QWidget *modal) {
            if (auto *dialog = qobject_cast<QFileDialog *>(modal)) {
                if (dialogCaption)
                    *dialogCaption = dialog->windowTitle();
                if (filters)
                    *filters = dialog->nameFilters();
                if (file.isEmpty()) {
                    dialog->reject();
                } else {
                    // Typed into the name field, as a user would.
                    if (auto *name = dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit")))
                        name->setText(file);
                    QMetaObject::invokeMethod(dialog, "accept");
                }
            } else {
                box.take(modal);
            }
        });
        QTest::mouseClick(child<QToolButton>(&w, "toolButton_openFolder"), Qt::LeftButton);
    }
};

void tst_DocumentsFolder::startupCheck_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("boxShown");
    QTest::newRow("no stored path") << 0 << true;
    QTest::newRow("folder without app.ini") << 1 << true;
    QTest::newRow("folder with a folder named app.ini") << 2 << true;
    QTest::newRow("good folder") << 3 << false;
}

void tst_DocumentsFolder::startupCheck()
{
    QFETCH(int, kind);
    QFETCH(bool, boxShown);
    DocumentsFolder folder(kind == 3);
    if (kind == 2)
        QVERIFY(QDir(folder.path()).mkdir(QStringLiteral("app.ini")));
    if (kind != 0)
        writeSetting(QStringLiteral("paths/iracingdocument"), folder.path());

    SeenBox box;
    QScopedPointer<kvBeacon> w(startWindow(box));
    QCOMPARE(!box.title.isEmpty(), boxShown);
    if (boxShown) {
        QCOMPARE(box.title, QStringLiteral("kV-Beacon"));
        QCOMPARE(box.text, QStringLiteral("app.ini not found.\nPlease check path to iRacing Documents"));
        QCOMPARE(box.buttonCount, 1);
        QVERIFY(box.isOk);
        QCOMPARE(box.icon, QMessageBox::Critical);
    }
    // The window comes up all the same, showing the stored path.
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_ir_PathDocuments")->text(),
             kind == 0 ? QString() : folder.path());
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_port")->text(), QStringLiteral("47812"));
}

void tst_DocumentsFolder::controlsCfgGoesToTheDebugOutput()
{
    DocumentsFolder folder;
    folder.write(QStringLiteral("controls.cfg"), "bind F1 chat");
    writeSetting(QStringLiteral("paths/iracingdocument"), folder.path());
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Expecting settings at")));
    QTest::ignoreMessage(QtDebugMsg, "\"bind F1 chat\"");
    SeenBox box;
    QScopedPointer<kvBeacon> w(startWindow(box));
    QVERIFY(box.title.isEmpty());

    // Without the file the error goes there instead, and no box opens.
    QFile::remove(folder.dir.filePath(QStringLiteral("controls.cfg")));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("^Expecting settings at")));
    QTest::ignoreMessage(QtDebugMsg, QRegularExpression(QStringLiteral("No such file")));
    w.reset(startWindow(box));
    QVERIFY(box.title.isEmpty());
}

void tst_DocumentsFolder::goodChoiceIsStoredAndPassesNextStart()
{
    SeenBox box;
    QScopedPointer<kvBeacon> w(startWindow(box));
    QVERIFY(!box.title.isEmpty());
    box = SeenBox();

    DocumentsFolder folder;
    QString caption;
    QStringList filters;
    chooseFile(*w, folder.dir.filePath(QStringLiteral("app.ini")), box, &caption, &filters);
    QCOMPARE(caption, QStringLiteral("Path to iracing documents"));
    QCOMPARE(filters, QStringList({QStringLiteral("iRacing (app.ini)")}));
    QVERIFY(box.title.isEmpty());
    const QString expected = QDir(folder.path()).absolutePath();
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_ir_PathDocuments")->text(), expected);
    QVERIFY(!expected.endsWith(QLatin1Char('/')));
    // Stored at once, not only at close.
    QCOMPARE(storedSetting(QStringLiteral("paths/iracingdocument")).toString(), expected);

    w->close();
    w.reset(startWindow(box));
    QVERIFY(box.title.isEmpty());
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_ir_PathDocuments")->text(), expected);
}

void tst_DocumentsFolder::rejectedChoiceKeepsTheSetting()
{
    DocumentsFolder good;
    writeSetting(QStringLiteral("paths/iracingdocument"), good.path());
    SeenBox box;
    QScopedPointer<kvBeacon> w(startWindow(box));

    DocumentsFolder other(false);
    other.write(QStringLiteral("other.ini"), "x");
    chooseFile(*w, other.dir.filePath(QStringLiteral("other.ini")), box);
    QCOMPARE(box.title, QStringLiteral("kV-Beacon"));
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_ir_PathDocuments")->text(),
             QDir(other.path()).absolutePath());
    QCOMPARE(storedSetting(QStringLiteral("paths/iracingdocument")).toString(), good.path());
}

void tst_DocumentsFolder::cancelChangesNothing()
{
    DocumentsFolder good;
    writeSetting(QStringLiteral("paths/iracingdocument"), good.path());
    SeenBox box;
    QScopedPointer<kvBeacon> w(startWindow(box));
    chooseFile(*w, QString(), box);
    QVERIFY(box.title.isEmpty());
    QCOMPARE(child<QLineEdit>(w.data(), "lineEdit_ir_PathDocuments")->text(), good.path());
    QCOMPARE(storedSetting(QStringLiteral("paths/iracingdocument")).toString(), good.path());
}

QTEST_MAIN(tst_DocumentsFolder)
#include "tst_documentsfolder.moc"
