#pragma once

#include <QJsonArray>
#include <QString>

#include <mutex>
#include <string>

// The key buttons of /buttons as the driver set them up on the page, kept in a small file in
// kvbeacon-web's config folder, so that the phone and the tablet show the same box. What comes
// to be stored is a page's say, so each entry is checked: a known key, a short label.
class ButtonBox
{
public:
    static constexpr int maxButtons = 24;
    static constexpr int maxLabelLength = 40;

    // Reads the file if there is one; a file that cannot be read is said in `warning` and left
    // as it is until the box is saved.
    explicit ButtonBox(QString file, QString *warning = nullptr);

    // {"keys":[{"key":"F1","label":"Black box"},...],"names":[every key name],"type":"buttons"}
    std::string json() const;
    // A box from a page: {"keys":[{"key":...,"label":...},...]}. False with a sentence when it is
    // no such box or the file cannot be written; the box stays as it was then.
    bool replace(const QByteArray &body, QString *error);

private:
    const QString file;
    mutable std::mutex mutex;
    QJsonArray keys;
};
