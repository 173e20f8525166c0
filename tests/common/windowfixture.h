#pragma once

#include "basics.h"

#include <QtTest>
#include <QtWidgets>

#include <functional>

// What a test of the whole window needs: its settings file in QtTest's own location, a
// documents folder, its widgets by name, and an answer for each modal dialog it opens.
namespace WindowFixture {
inline QString iniPath()
{
    return QStandardPaths::writableLocation(QStandardPaths::DataLocation) + QStringLiteral("/kvbeacon.ini");
}

// Starts the settings file anew with `values`.
inline void startSettings(const QVariantMap &values)
{
    QStandardPaths::setTestModeEnabled(true);
    QFile::remove(iniPath());
    QSettings file(iniPath(), QSettings::IniFormat);
    for (auto it = values.begin(); it != values.end(); ++it)
        file.setValue(it.key(), it.value());
}

// Writes the app.ini of a documents folder, and gives the folder.
inline QString makeDocuments(const QTemporaryDir &dir, const QByteArray &appIni)
{
    if (!writeFile(dir.filePath(QStringLiteral("app.ini")), appIni))
        qFatal("app.ini not written");
    return dir.path();
}

template <typename T> T *child(QObject *parent, const char *name)
{
    return parent->findChild<T *>(QLatin1String(name));
}

// The status bar's three labels, left to right: simulator, clients, version.
inline QString statusText(QWidget *window, int label)
{
    return window->findChild<QStatusBar *>()->findChildren<QLabel *>().value(label)->text();
}

// Hands each modal widget that opens while it lives to `answer`: a modal box would hang a test.
class ModalWatcher : public QObject
{
public:
    explicit ModalWatcher(std::function<void(QWidget *)> answer)
    {
        connect(&timer, &QTimer::timeout, this, [this, answer] {
            if (QWidget *modal = QApplication::activeModalWidget())
                answer(modal);
        });
        timer.start(20);
    }

private:
    QTimer timer;
};
} // namespace WindowFixture
