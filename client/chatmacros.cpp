#include "chatmacros.h"

#include "protocol.h"

ChatMacros ChatMacros::fromReply(const QString &payload)
{
    ChatMacros macros;
    if (payload == QLatin1String(Protocol::noChatTexts))
        return macros;
    macros.texts = payload.split(QLatin1Char(Protocol::chatTextSeparator));
    macros.status = macros.texts.size() == Protocol::chatMacroCount ? Listed : Ambiguous;
    return macros;
}
