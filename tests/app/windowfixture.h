#pragma once

#include <QApplication>
#include <QFileDialog>
#include <QMessageBox>
#include <QPushButton>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <functional>

// The window's settings file in QtTest's isolated location.
inline QString iniPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::DataLocation) + QStringLiteral("/kvbeacon.ini");
}

inline void writeSetting(const QString &key, const QVariant &value)
{
    QSettings file(iniPath(), QSettings::IniFormat);
    file.setValue(key, value);
}

inline QVariant storedSetting(const QString &key)
{
    return QSettings(iniPath(), QSettings::IniFormat).value(key);
}

template <typename T> T *child(QObject *parent, const char *name)
{
    T *found = parent->findChild<T *>(QLatin1String(name));
    if (!found)
        qWarning("no %s", name);
    return found;
}

// A documents folder holding app.ini (and optionally controls.cfg).
struct DocumentsFolder
{
    explicit DocumentsFolder(bool withAppIni = true)
    {
        if (withAppIni)
            write(QStringLiteral("app.ini"), "[Autochat Messages]\nAutoChatStr1=Pit this lap\n");
    }
    void write(const QString &name, const QByteArray &contents)
    {
        QFile file(dir.filePath(name));
        if (file.open(QIODevice::WriteOnly))
            file.write(contents);
    }
    QString path() const { return dir.path(); }
    QTemporaryDir dir;
};

// Watches for modal dialogs while the code under test waits in one, and handles each as
// `handle` says. Waiting out a modal box would hang the test.
class ModalWatcher : public QObject
{
public:
    explicit ModalWatcher(std::function<void(QWidget *)> handle) : handle(std::move(handle))
    {
        connect(&timer, &QTimer::timeout, this, [this] {
            if (QWidget *modal = QApplication::activeModalWidget()) {
                ++seen;
                this->handle(modal);
            }
        });
        timer.start(20);
    }
    int seen = 0;

private:
    std::function<void(QWidget *)> handle;
    QTimer timer;
};

// What a message box said, and the box closed with its Ok button.
struct SeenBox
{
    QString title, text;
    QList<QAbstractButton *>::size_type buttonCount = 0;
    bool isOk = false;
    QMessageBox::Icon icon = QMessageBox::NoIcon;

    void take(QWidget *modal)
    {
        auto *box = qobject_cast<QMessageBox *>(modal);
        if (!box)
            return;
        title = box->windowTitle();
        text = box->text();
        buttonCount = box->buttons().size();
        isOk = box->button(QMessageBox::Ok) != nullptr;
        icon = box->icon();
        box->button(QMessageBox::Ok)->click();
    }
};
