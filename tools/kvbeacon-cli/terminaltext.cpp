#include "terminaltext.h"

QString TerminalText::escaped(const QString &text, bool keepLayout)
{
    QString shown;
    shown.reserve(text.size());
    for (const QChar c : text) {
        const ushort u = c.unicode();
        if ((u >= 0x20 && u < 0x7f) || u > 0x9f || (keepLayout && (u == '\t' || u == '\n'))) {
            shown += c;
            continue;
        }
        const int shortForm = QByteArray("\b\f\n\r\t").indexOf(char(u));
        shown += shortForm >= 0 ? QStringLiteral("\\") + QLatin1Char("bfnrt"[shortForm])
                                : QStringLiteral("\\u%1").arg(u, 4, 16, QLatin1Char('0'));
    }
    return shown;
}
