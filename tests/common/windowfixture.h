#pragma once

#include "basics.h"

#include <QtTest>
#include <QtWidgets>

// What a test of the whole window needs: its settings file in QtTest's own location and its
// widgets by name.
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

template <typename T> T *child(QObject *parent, const char *name)
{
    return parent->findChild<T *>(QLatin1String(name));
}

// The status bar's three labels, left to right: simulator, clients, version.
inline QString statusText(QWidget *window, int label)
{
    return window->findChild<QStatusBar *>()->findChildren<QLabel *>().value(label)->text();
}
} // namespace WindowFixture
