#include "infodocument.h"

#include "documentfields.h"

std::optional<InfoDocument> InfoDocument::fromJson(const QString &text)
{
    using DocumentFields::read;
    QJsonObject o;
    InfoDocument d;
    const bool complete = DocumentFields::object(text, o) && read(o, "SI.SessionType", d.SessionType) &&
                          read(o, "SI.SessionTime", d.SessionTime) &&
                          read(o, "SI.SessionNum", d.SessionNum) &&
                          read(o, "SI.SessionLaps", d.SessionLaps) && read(o, "WI.Trackname", d.TrackName) &&
                          read(o, "DI.DriverCarFuelKgPerLtr", d.DriverCarFuelKgPerLtr) &&
                          read(o, "DI.DriverCarFuelMaxLtr", d.DriverCarFuelMaxLtr) &&
                          read(o, "DI.DriverCarMaxFuelPct", d.DriverCarMaxFuelPct);
    return complete ? std::optional<InfoDocument>(d) : std::nullopt;
}
