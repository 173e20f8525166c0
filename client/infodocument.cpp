#include "infodocument.h"

#include "documentfields.h"
#include "protocol.h"

std::optional<InfoDocument> InfoDocument::fromJson(const QString &text)
{
    using DocumentFields::read;
    namespace InfoKey = Protocol::InfoKey;
    QJsonObject o;
    InfoDocument d;
    const bool complete =
        DocumentFields::object(text, o) && read(o, InfoKey::SessionType, d.SessionType) &&
        read(o, InfoKey::SessionTime, d.SessionTime) && read(o, InfoKey::SessionNum, d.SessionNum) &&
        read(o, InfoKey::SessionLaps, d.SessionLaps) && read(o, InfoKey::TrackName, d.TrackName) &&
        read(o, InfoKey::DriverCarFuelKgPerLtr, d.DriverCarFuelKgPerLtr) &&
        read(o, InfoKey::DriverCarFuelMaxLtr, d.DriverCarFuelMaxLtr) &&
        read(o, InfoKey::DriverCarMaxFuelPct, d.DriverCarMaxFuelPct);
    return complete ? std::optional<InfoDocument>(d) : std::nullopt;
}
