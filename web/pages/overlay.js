// A compact strip for a stream's browser source, on a transparent background. Its fields come
// from the query: /overlay?fields=position,laps,fuel (the default below when none are named).
"use strict";

let info = null;
const fields = {
    position: ["P", (live) => (live.PlayerCarPosition > 0 ? String(live.PlayerCarPosition) : "–")],
    class: ["Class", (live) => (live.PlayerCarClassPosition > 0 ? String(live.PlayerCarClassPosition) : "–")],
    laps: ["Lap", (live) => {
        const limit = info ? Kvb.lapLimit(info["SI.SessionLaps"]) : null;
        return live.RaceLaps + (limit !== null ? "/" + limit : "");
    }],
    remaining: ["To go", (live) => (Kvb.lapLimit(live.SessionLapsRemain) !== null ? String(live.SessionLapsRemain) : "–")],
    time: ["Time", (live) => Kvb.clock(live.SessionTimeSinceStarted)],
    fuel: ["Fuel", (live) => Kvb.fuel(live.FuelLevel, live)],
    fuelpct: ["Fuel", (live) => Math.round(live.FuelLevelPct * 100) + " %"],
    fuellaps: ["Fuel laps", (live, message) => (message.fuelLapsLeft !== null ? message.fuelLapsLeft.toFixed(1) : "–")],
    tofinish: ["To flag", (live, message) => (message.fuelToFinish !== null ? Kvb.fuel(message.fuelToFinish, live) : "–")],
    fuelstop: ["Stop", (live, message) => Kvb.fuelStop(message, live)],
    flags: ["Flag", (live) => {
        const flags = Kvb.flags(live.SessionFlags);
        return flags.length ? flags[0].name : "–";
    }],
    track: ["Track", (live) => Kvb.temperature(live.TrackTempCrew, live)],
    air: ["Air", (live) => Kvb.temperature(live.AirTemp, live)],
    wind: ["Wind", (live) => Kvb.speed(live.WindVel, live) + " " + Kvb.compass(live.WindDir)],
    session: ["Session", () => (info ? info["SI.SessionType"] : "–")],
};

const chosen = (new URLSearchParams(location.search).get("fields") || "position,laps,time,fuel,flags")
    .split(",").map((name) => name.trim().toLowerCase()).filter((name) => name in fields);
const strip = document.getElementById("strip");
for (const name of chosen) {
    const element = document.createElement("span");
    element.className = "field";
    element.dataset.field = name;
    element.innerHTML = "<small></small><b>–</b>";
    element.querySelector("small").textContent = fields[name][0];
    strip.append(element);
}

Kvb.connect({
    info: (message) => { info = message.info; },
    live: (message) => {
        for (const element of strip.children)
            element.querySelector("b").textContent = fields[element.dataset.field][1](message.live, message);
    },
});
