// The dashboard: every value of the live and info documents a driver looks at, in the units the
// driver chose in the simulator.
"use strict";

let info = null;

function showLive(message) {
    const live = message.live;
    const f = Kvb.field;
    f("position", live.PlayerCarPosition > 0 ? "P" + live.PlayerCarPosition : "–");
    f("class-position", live.PlayerCarClassPosition > 0 ? "P" + live.PlayerCarClassPosition : "–");
    const limit = info ? Kvb.lapLimit(info["SI.SessionLaps"]) : null;
    f("laps", live.RaceLaps + (limit !== null ? " / " + limit : ""));
    f("laps-remaining", Kvb.lapLimit(live.SessionLapsRemain) !== null ? String(live.SessionLapsRemain) : "–");
    f("time", Kvb.clock(live.SessionTimeSinceStarted));
    f("fuel", Kvb.fuel(live.FuelLevel, live));
    f("fuel-pct", Math.round(live.FuelLevelPct * 100) + " %");
    f("fuel-per-hour", Kvb.fuelPerHour(live.FuelUsePerHour, info ? info["DI.DriverCarFuelKgPerLtr"] : 0, live));
    f("fuel-laps", message.fuelLapsLeft !== null ? message.fuelLapsLeft.toFixed(1) : "–");
    f("fuel-per-lap", message.fuelPerLap !== null ? Kvb.fuel(message.fuelPerLap, live) : "–");
    const flags = Kvb.flags(live.SessionFlags);
    f("flags", flags.length ? flags.map((flag) => flag.name).join(", ") : "none");
    const swatch = document.getElementById("flag-swatch");
    swatch.className = "flag-swatch" + (flags.length && flags[0].colour === "checkered" ? " checkered" : "");
    swatch.style.background = flags.length && flags[0].colour !== "checkered" ? flags[0].colour : "";
    f("track-temp", Kvb.temperature(live.TrackTempCrew, live));
    f("air-temp", Kvb.temperature(live.AirTemp, live));
    f("wind", Kvb.speed(live.WindVel, live));
    f("wind-dir", Kvb.compass(live.WindDir));
    // The arrow points where the wind blows to.
    document.getElementById("wind-arrow").style.transform = "rotate(" + (live.WindDir * 180 / Math.PI + 180) + "deg)";
    f("weather", Kvb.weather(live));
}

function showInfo(message) {
    info = message.info;
    Kvb.field("session-type", info["SI.SessionType"]);
    Kvb.field("track", info["WI.Trackname"]);
    const limit = info["SI.SessionTime"];
    Kvb.field("time-limit", limit > 0 ? Kvb.clock(limit) : "unlimited");
}

Kvb.connect({ live: showLive, info: showInfo });
