#include "infodocument.h"

#include "documentfields.h"
#include "protocol.h"

std::optional<InfoDocument> InfoDocument::fromJson(const QString &text)
{
    QJsonObject o;
    return DocumentFields::object(text, o) ? fromObject(o) : std::nullopt;
}

std::optional<InfoDocument> InfoDocument::fromObject(const QJsonObject &o)
{
    using DocumentFields::read;
    namespace InfoKey = Protocol::InfoKey;
    InfoDocument d;
    const bool complete =
        read(o, InfoKey::SessionType, d.SessionType) && read(o, InfoKey::SessionTime, d.SessionTime) &&
        read(o, InfoKey::SessionNum, d.SessionNum) && read(o, InfoKey::SessionLaps, d.SessionLaps) &&
        read(o, InfoKey::TrackName, d.TrackName) &&
        read(o, InfoKey::DriverCarFuelKgPerLtr, d.DriverCarFuelKgPerLtr) &&
        read(o, InfoKey::DriverCarFuelMaxLtr, d.DriverCarFuelMaxLtr) &&
        read(o, InfoKey::DriverCarMaxFuelPct, d.DriverCarMaxFuelPct);
    return complete ? std::optional<InfoDocument>(d) : std::nullopt;
}
