#include "windowlines.h"

#include "documentsfolder.h"
#include "protocol.h"

#include <QLoggingCategory>

std::vector<std::string> readMacroTexts(const std::string &folder)
{
    // The reading's own debug lines are kvBeacon's, not for the stand-in's console.
    QLoggingCategory::setFilterRules(QStringLiteral("default.debug=false"));
    const QString joined = DocumentsFolder::chatTexts(QString::fromStdString(folder));
    const QStringList parts = joined.split(QLatin1Char(Protocol::chatTextSeparator));
    if (joined == QLatin1String(Protocol::noChatTexts) || parts.size() != Protocol::chatMacroCount)
        return {};
    std::vector<std::string> texts;
    for (const QString &text : parts)
        texts.push_back(text.toStdString());
    return texts;
}
