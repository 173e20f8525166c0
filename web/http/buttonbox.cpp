#include "buttonbox.h"

#include "keynames.h"
#include "untrustedjson.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSaveFile>

namespace {
// The entries of a box, checked and tidied: false with a sentence at the first that will not do.
bool checked(const QJsonDocument &document, QJsonArray *keys, QString *error)
{
    const QJsonValue list = document.object().value(QLatin1String("keys"));
    if (!list.isArray()) {
        *error = QStringLiteral("A box is {\"keys\":[{\"key\":\"F1\",\"label\":\"Black box\"},...]}");
        return false;
    }
    if (list.toArray().size() > ButtonBox::maxButtons) {
        *error = QStringLiteral("At most %1 keys fit a box").arg(ButtonBox::maxButtons);
        return false;
    }
    *keys = QJsonArray();
    for (const QJsonValue entry : list.toArray()) {
        const QString key = entry.toObject().value(QLatin1String("key")).toString().trimmed().toUpper();
        if (!KeyNames::code(key)) {
            *error = QStringLiteral("\"%1\" is no key kvBeacon knows").arg(key.left(20));
            return false;
        }
        QString label = entry.toObject().value(QLatin1String("label")).toString().simplified();
        if (label.isEmpty())
            label = key;
        if (label.size() > ButtonBox::maxLabelLength) {
            *error = QStringLiteral("A label has at most %1 characters").arg(ButtonBox::maxLabelLength);
            return false;
        }
        keys->append(QJsonObject{{QStringLiteral("key"), key}, {QStringLiteral("label"), label}});
    }
    return true;
}
} // namespace

ButtonBox::ButtonBox(QString file, QString *warning) : file(std::move(file))
{
    QFile saved(this->file);
    if (!saved.exists())
        return;
    QString error;
    if (!saved.open(QIODevice::ReadOnly))
        error = saved.errorString();
    else if (!checked(UntrustedJson::parse(saved.read(64 * 1024)), &keys, &error))
        keys = QJsonArray();
    if (!error.isEmpty() && warning)
        *warning = QStringLiteral("the button box in %1 cannot be read (%2); it is kept until a box is saved")
                       .arg(QDir::toNativeSeparators(this->file), error);
}

std::string ButtonBox::json() const
{
    std::lock_guard<std::mutex> lock(mutex);
    const QJsonObject object{{QStringLiteral("type"), QStringLiteral("buttons")},
                             {QStringLiteral("keys"), keys},
                             {QStringLiteral("names"), QJsonArray::fromStringList(KeyNames::names())}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString();
}

bool ButtonBox::replace(const QByteArray &body, QString *error)
{
    QJsonArray next;
    if (!checked(UntrustedJson::parse(body), &next, error))
        return false;
    std::lock_guard<std::mutex> lock(mutex);
    // Written whole or not at all: a crash mid-write leaves the box as it was.
    QDir().mkpath(QFileInfo(file).absolutePath());
    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly) ||
        out.write(QJsonDocument(QJsonObject{{QStringLiteral("keys"), next}}).toJson()) < 0 || !out.commit()) {
        *error = QStringLiteral("The box cannot be saved in %1: %2")
                     .arg(QDir::toNativeSeparators(file), out.errorString());
        return false;
    }
    keys = next;
    return true;
}
